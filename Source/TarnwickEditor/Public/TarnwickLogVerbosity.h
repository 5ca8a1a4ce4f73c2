// The two fixed spellings of a log verbosity used by this module: lower-case names in log query results and
// entry JSON ("very_verbose"), capitalised names in diagnostics blocks ("VeryVerbose"). Both take the raw stored
// value: 0 and any value carrying flag bits are "unknown"/"Unknown", never masked down to a real verbosity.
#pragma once
#include "HostTypes.h"

namespace Tarnwick::Logs
{
/** "fatal", "error", "warning", "display", "log", "verbose", "very_verbose"; "unknown" for anything else. */
const char* VerbosityNameLower(uint8 Verbosity);

/** "Fatal", "Error", "Warning", "Display", "Log", "Verbose", "VeryVerbose"; "Unknown" for anything else. */
const char* VerbosityNameCapitalised(uint8 Verbosity);
}
