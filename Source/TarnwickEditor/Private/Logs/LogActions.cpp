// get_recent_logs, search_logs, tail_log, get_log_categories and get_log_stats. Each reads copies out of the
// capture (under its lock) and shapes the JSON afterwards. Without a capture (before start-up, after shutdown or
// with the namespace disabled) each answers its empty form successfully; this family has no failures.
#include "TarnwickEditorHandlers.h"

#include "Logs/LogQueryRules.h"
#include "TarnwickLogCapture.h"

#include <utility>

namespace Tarnwick::Editor
{
namespace
{
using namespace Tarnwick::Logs;

FJson ListResult(const char* CountKey, const char* ListKey, FJson List)
{
	FJson Out = FJson::object();
	Out[CountKey] = List.size();
	Out[ListKey] = std::move(List);
	return Out;
}

FTarnwickActionResult GetRecentLogs(const FTarnwickLogCapture* Capture, const FJsonPtr& Params)
{
	if (!Capture) return FTarnwickActionResult::Success(ListResult("count", "entries", FJson::array()));
	return FTarnwickActionResult::Success(
		ListResult("count", "entries", LogEntriesToJson(Capture->GetRecent(ReadCount(Params, RecentLogsCount)))));
}

FTarnwickActionResult SearchLogs(const FTarnwickLogCapture* Capture, const FJsonPtr& Params)
{
	if (!Capture) return FTarnwickActionResult::Success(ListResult("match_count", "entries", FJson::array()));
	std::vector<FTarnwickLogEntry> Entries = Capture->Search(ReadString(Params, "pattern"), ReadString(Params, "category"),
		ParseMaxVerbosity(ReadString(Params, "verbosity")), ReadCount(Params, SearchLogsLimit));
	return FTarnwickActionResult::Success(ListResult("match_count", "entries", LogEntriesToJson(std::move(Entries))));
}

FTarnwickActionResult TailLog(const FTarnwickLogCapture* Capture, const FJsonPtr& Params)
{
	FJson Lines = FJson::array();
	if (Capture)
	{
		for (const FTarnwickLogEntry& Entry : Capture->GetRecent(ReadCount(Params, TailLogCount)))
		{
			Lines.push_back(FormatTailLine(Entry));
		}
	}
	return FTarnwickActionResult::Success(ListResult("count", "lines", std::move(Lines)));
}

FTarnwickActionResult GetLogCategories(const FTarnwickLogCapture* Capture)
{
	FJson Categories = FJson::array();
	if (Capture)
	{
		for (std::string& Name : Capture->GetCategories()) Categories.push_back(std::move(Name));
	}
	return FTarnwickActionResult::Success(ListResult("count", "categories", std::move(Categories)));
}

FTarnwickActionResult GetLogStats(const FTarnwickLogCapture* Capture)
{
	FJson Out = FJson::object();
	if (!Capture)
	{
		Out["total"] = 0;
		Out["status"] = "log_capture_not_initialized";
		return FTarnwickActionResult::Success(std::move(Out));
	}
	const FTarnwickLogCounts Counts = Capture->GetCounts();
	Out["total"] = Counts.Total();
	Out["fatal"] = Counts.Fatal;
	Out["error"] = Counts.Error;
	Out["warning"] = Counts.Warning;
	Out["log"] = Counts.Log;
	Out["verbose"] = Counts.Verbose;
	return FTarnwickActionResult::Success(std::move(Out));
}
}

void AddLogHandlers(FTarnwickHandlerTable& Table, FTarnwickLogCapture* Capture)
{
	const FTarnwickLogCapture* Reader = Capture;
	Table.Add("editor", "get_recent_logs", [Reader](const FJsonPtr& Params) { return GetRecentLogs(Reader, Params); });
	Table.Add("editor", "search_logs", [Reader](const FJsonPtr& Params) { return SearchLogs(Reader, Params); });
	Table.Add("editor", "tail_log", [Reader](const FJsonPtr& Params) { return TailLog(Reader, Params); });
	Table.Add("editor", "get_log_categories", [Reader](const FJsonPtr&) { return GetLogCategories(Reader); });
	Table.Add("editor", "get_log_stats", [Reader](const FJsonPtr&) { return GetLogStats(Reader); });
}
}
