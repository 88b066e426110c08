#pragma once

#include <map>
#include <memory>
#include <string>

#include "app/ActionBase.h"

// Owns one instance of every action, keyed by its name.
class ActionFactory : private zel::Uncopyable {
public:
    static std::shared_ptr<ActionFactory> instance();

    // The action registered under the exact name, or null.
    ActionBase* get(const std::string& name);

    size_t size() const { return actions_.size(); }

private:
    ActionFactory();
    void add(std::unique_ptr<ActionBase> action);

    std::map<std::string, std::unique_ptr<ActionBase>> actions_;
};
