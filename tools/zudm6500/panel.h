// The soft front panel of the DM-6500 multimeter, on the panel-and-control runtime.
#pragma once

#include <string>

// Loads and shows the panel and connects to the resource; the panel handle, or a negative
// runtime code. The runtime must be running and the callbacks registered.
int DmmPanel_Show(const std::string& resource);
// Closes the connection and discards the panel.
void DmmPanel_Discard();
