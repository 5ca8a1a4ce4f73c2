#include "TarnwickLog.h"

TW_DEFINE_LOG_CATEGORY(LogTarnwick, Log)
