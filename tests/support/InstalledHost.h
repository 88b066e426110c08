#pragma once

#include <fstream>
#include <memory>
#include <string>

#include "core/DeviceApi.h"
#include "tests/support/TempDir.h"
#include "vhost/VirtualHost.h"

namespace zeltest {

// A virtual host built from a description written into a fresh folder and
// installed as the process-wide seam while the object lives.
class InstalledHost {
public:
    explicit InstalledHost(const std::string& descriptionJson, bool install = true) {
        path_ = dir_.file("host.json");
        std::ofstream(path_, std::ios::binary) << descriptionJson;
        build();
        if (install) previous_ = zel::replaceDeviceApi(host_.get());
    }
    ~InstalledHost() {
        if (previous_) zel::replaceDeviceApi(previous_);
    }
    InstalledHost(const InstalledHost&) = delete;
    InstalledHost& operator=(const InstalledHost&) = delete;

    zel::vhost::VirtualHost& host() { return *host_; }
    const std::string& descriptionPath() const { return path_; }
    std::string stateFile(const std::string& name) const { return path_ + ".state\\" + name; }

    // A new host from the same description and state folder, as the next run sees it.
    void restart() {
        if (previous_) zel::replaceDeviceApi(previous_);
        host_.reset();
        build();
        previous_ = zel::replaceDeviceApi(host_.get());
    }

private:
    void build() {
        zel::vhost::HostDescription description;
        std::string problem;
        loaded_ = zel::vhost::loadHostDescription(path_, &description, &problem);
        problem_ = problem;
        host_ = std::make_unique<zel::vhost::VirtualHost>(description);
        host_->loadState(&problem);
    }

public:
    bool loaded() const { return loaded_; }
    const std::string& problem() const { return problem_; }

private:
    TempDir dir_;
    std::string path_;
    std::unique_ptr<zel::vhost::VirtualHost> host_;
    zel::DeviceApi* previous_ = nullptr;
    bool loaded_ = false;
    std::string problem_;
};

}  // namespace zeltest
