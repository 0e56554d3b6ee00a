// All that a plain host application includes.
#pragma once

#include "zqm/base/Version.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/ZQMCoreModule.h"
