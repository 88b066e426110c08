#pragma once

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "core/DeviceApi.h"
#include "tests/support/TempDir.h"
#include "vhost/VirtualHost.h"

namespace zeltest {

// A virtual host built from a description written into a fresh folder and
// installed as the process-wide seam while the object lives.
class InstalledHost {
public:
    explicit InstalledHost(const std::string& descriptionJson) : path_(dir_.file("host.json")) {
        std::ofstream(path_, std::ios::binary) << descriptionJson;
        zel::vhost::HostDescription description;
        std::string problem;
        zel::vhost::loadHostDescription(path_, &description, &problem);
        host_ = std::make_unique<zel::vhost::VirtualHost>(description);
        std::vector<std::string> damaged;
        host_->loadState(&damaged);
        previous_ = zel::replaceDeviceApi(host_.get());
    }
    ~InstalledHost() { zel::replaceDeviceApi(previous_); }
    InstalledHost(const InstalledHost&) = delete;
    InstalledHost& operator=(const InstalledHost&) = delete;

    zel::vhost::VirtualHost& host() { return *host_; }
    std::string stateFile(const std::string& name) const { return path_ + ".state\\" + name; }

private:
    TempDir dir_;
    std::string path_;
    std::unique_ptr<zel::vhost::VirtualHost> host_;
    zel::DeviceApi* previous_ = nullptr;
};

}  // namespace zeltest
