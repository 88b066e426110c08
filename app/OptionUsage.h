#pragma once

#include <string>

namespace zel {

// The --usage text of an action ("pwr", "rw", "cmd", "wkld", "smart"): the
// options it reads, in help order, each with its argument label, the first
// line of its help text, its unit and its default, all from the option
// table. Empty for any other name.
std::string usageText(const std::string& action);

// The action names --usage knows, for the refusal of another name.
std::string usageActionNames();

}  // namespace zel
