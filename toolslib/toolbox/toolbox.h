// The support library: ini files, lists and handles, the line reader, safe file replacement
// and small utilities. Plain functions; negative results are error codes (diagnostics.h).
#pragma once

#include "toolslib/toolbox/arraysort.h"
#include "toolslib/toolbox/diagnostics.h"
#include "toolslib/toolbox/escaped.h"
#include "toolslib/toolbox/files.h"
#include "toolslib/toolbox/ini.h"
#include "toolslib/toolbox/inicodec.h"
#include "toolslib/toolbox/linefile.h"
#include "toolslib/toolbox/list.h"
#include "toolslib/toolbox/text.h"
