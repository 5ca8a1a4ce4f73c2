#include "TarnwickEditorLog.h"

TW_DEFINE_LOG_CATEGORY(LogTarnwickPieSmoke, Log)
TW_DEFINE_LOG_CATEGORY(LogTarnwickPreviewActions, Log)
TW_DEFINE_LOG_CATEGORY(LogTarnwickStat, Log)
