// The rules of the five log actions, apart from the capture they read: how their parameters are read and
// clamped, and how entries are shaped for the client. The handlers in LogActions.cpp only glue these together.
#pragma once
#include "TarnwickJson.h"
#include "TarnwickLogCapture.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tarnwick::Logs
{
/** A count parameter: its key, the value used when it is absent or not a number, and its inclusive bounds. */
struct FCountParam
{
	const char* Key;
	int32 Default;
	int32 Min;
	int32 Max;
};

inline constexpr FCountParam RecentLogsCount{"count", 50, 1, 1000};
inline constexpr FCountParam TailLogCount{"count", 50, 1, 500};
inline constexpr FCountParam SearchLogsLimit{"limit", 100, 1, 2000};

/**
 * A JSON number, or a string holding nothing but a finite decimal number ("20", "7.5"): agents often quote
 * numbers and refusing them here would only turn a clear request into the default. Anything else is nothing.
 */
std::optional<double> ReadNumber(const FJson& Value);

/** Params[Param.Key] read as a number, truncated toward zero and clamped; the default when absent or not a number. */
int32 ReadCount(const FJsonPtr& Params, const FCountParam& Param);

/** Params[Key] when it is a string; empty otherwise (absent, null or any other type). */
std::string ReadString(const FJsonPtr& Params, const char* Key);

/**
 * The most verbose level search_logs returns for its "verbosity" text, ignoring case: "fatal" 1, "error" 2,
 * "warning" 3, "display" 4, "verbose" 6, "very_verbose" 7, empty 7 (everything); any other text, "log" included,
 * is 5 (Log).
 */
uint8 ParseMaxVerbosity(std::string_view Text);

/** {"timestamp", "category", "verbosity" (lower-case name), "message"}. */
FJson LogEntryToJson(const FTarnwickLogEntry& Entry);
FJson LogEntriesToJson(const std::vector<FTarnwickLogEntry>& Entries);
/** The same, moving each message into the JSON instead of copying it a second time. */
FJson LogEntriesToJson(std::vector<FTarnwickLogEntry>&& Entries);

/** "[Category][verbosity] message", no timestamp. */
std::string FormatTailLine(const FTarnwickLogEntry& Entry);
}
