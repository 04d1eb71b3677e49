#include "app/registry.h"

int numWindows = 0;
