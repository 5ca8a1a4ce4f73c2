// The core's log category; every Tarnwick module logs its own lines here.
#pragma once
#include "Logging.h"

TW_DECLARE_LOG_CATEGORY_EXTERN(LogTarnwick)
