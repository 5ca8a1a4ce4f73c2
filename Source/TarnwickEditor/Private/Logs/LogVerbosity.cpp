#include "TarnwickLogVerbosity.h"

#include "Logging.h"

namespace Tarnwick::Logs
{
const char* VerbosityNameLower(uint8 Verbosity)
{
	switch (Verbosity)
	{
	case ELogVerbosity::Fatal: return "fatal";
	case ELogVerbosity::Error: return "error";
	case ELogVerbosity::Warning: return "warning";
	case ELogVerbosity::Display: return "display";
	case ELogVerbosity::Log: return "log";
	case ELogVerbosity::Verbose: return "verbose";
	case ELogVerbosity::VeryVerbose: return "very_verbose";
	default: return "unknown";
	}
}

const char* VerbosityNameCapitalised(uint8 Verbosity)
{
	// The engine's own names, but only for a plain value: flag bits make the verbosity unknown here.
	if (Verbosity < ELogVerbosity::Fatal || Verbosity > ELogVerbosity::VeryVerbose) return "Unknown";
	return ToString(static_cast<ELogVerbosity::Type>(Verbosity));
}
}
