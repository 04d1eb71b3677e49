// Internal: how the runtime reports the toolbox's assertions (standard error and a popup).
#pragma once

namespace uir {

void reportAssert(const char* text);

}  // namespace uir
