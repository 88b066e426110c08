#pragma once

namespace zel {

// Removes (enable false) or re-enables (enable true) the close item of the
// system menu of every command prompt's window. A removed item stays
// removed: enabling acts only on an item that is there. QuickEdit mode is
// left alone. Failures are silent.
void setConsoleCloseButton(bool enable);

}  // namespace zel
