// Internal: menu bars built from a loaded form.
#pragma once

#include <string>
#include <vector>

#include "uiruntime/core.h"
#include "uiruntime/uiscan.h"

namespace uir {

// Gives the panel a menu bar with the form's menus and items, their ids and callbacks. Returns
// the menu bar handle or a negative code with the reason in error.
int createMenuBarFromForm(Panel* p, const std::vector<ScannedMenuEntry>& menus, std::string* error);

}  // namespace uir
