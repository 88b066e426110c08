#include "app/ActionFactory.h"

#include <mutex>

#include "app/Actions.h"

std::shared_ptr<ActionFactory> ActionFactory::instance() {
    static std::once_flag once;
    static std::shared_ptr<ActionFactory> factory;
    std::call_once(once, [] { factory.reset(new ActionFactory()); });
    return factory;
}

ActionFactory::ActionFactory() {
    add(std::make_unique<ActionPowerSwitch>());
    add(std::make_unique<ActionRw>());
    add(std::make_unique<ActionCommand>());
    add(std::make_unique<ActionWorkload>());
    add(std::make_unique<ActionSmart>());
}

void ActionFactory::add(std::unique_ptr<ActionBase> action) {
    std::string name = action->name();
    actions_[name] = std::move(action);
}

ActionBase* ActionFactory::get(const std::string& name) {
    auto found = actions_.find(name);
    return found == actions_.end() ? nullptr : found->second.get();
}
