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
	switch (Verbosity)
	{
	case ELogVerbosity::Fatal: return "Fatal";
	case ELogVerbosity::Error: return "Error";
	case ELogVerbosity::Warning: return "Warning";
	case ELogVerbosity::Display: return "Display";
	case ELogVerbosity::Log: return "Log";
	case ELogVerbosity::Verbose: return "Verbose";
	case ELogVerbosity::VeryVerbose: return "VeryVerbose";
	default: return "Unknown";
	}
}
}
