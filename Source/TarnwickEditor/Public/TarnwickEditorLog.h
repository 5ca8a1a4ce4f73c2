// The editor module's own log categories. Its general lines go to the core's LogTarnwick; these three
// separate the chattier subsystems so that a user can raise or silence each on its own.
#pragma once
#include "Logging.h"

/** The PIE smoke harness: sessions, samples, expectations and reports. */
TW_DECLARE_LOG_CATEGORY_EXTERN(LogTarnwickPieSmoke)
/** Capture and preview actions: scene previews, material grids, viewport and clip captures. */
TW_DECLARE_LOG_CATEGORY_EXTERN(LogTarnwickPreviewActions)
/** Reading stat groups. */
TW_DECLARE_LOG_CATEGORY_EXTERN(LogTarnwickStat)
