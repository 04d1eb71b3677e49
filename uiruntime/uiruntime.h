// The panel-and-control runtime: everything the application and the composite controls use.
#pragma once

#include "uiruntime/uidefs.h"
#include "uiruntime/uitoolbox.h"
#include "uiruntime/userint.h"
#include "uiruntime/utility.h"
