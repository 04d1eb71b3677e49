// Internal: ending the help viewer when the runtime closes.
#pragma once

namespace uir {

void stopHelpViewer();

}  // namespace uir
