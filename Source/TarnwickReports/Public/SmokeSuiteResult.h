// What the report writers take: the outcome of each smoke spec a suite ran, as the runner collected it.
// A spec either ran (its session report) or never started (a refusal from run_pie_smoke, or a file that could
// not be read as a spec). The writers only read these values; they never call the editor.
#pragma once
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace Tarnwick::Reports
{
using FJson = nlohmann::ordered_json;

/** A log line that matched a must_absent pattern, found by the runner in the session's post-marker log. */
struct FMatchedLogLine
{
	/** Seconds after the session's marker line. */
	double Seconds = 0.0;
	/** "active_runtime" or "teardown". */
	std::string Bucket;
	std::string Pattern;
	std::string Category;
	/** Lower-case verbosity name ("error", "warning", ...). */
	std::string Verbosity;
	std::string Message;
};

/** A captured clip frame: its path as the report lists it under frame_paths, and the PNG file's bytes. */
struct FClipFrame
{
	std::string Path;
	std::string Png;
};

enum class ESmokeOutcome
{
	/** The session ran; Report holds its final report. */
	Ran,
	/** run_pie_smoke refused the spec before PIE started. */
	Refused,
	/** The spec file could not be read or was not a JSON object. */
	Unreadable,
};

struct FSmokeSpecResult
{
	/** How the suite names the spec: its file name without ".json". */
	std::string Name;
	/** Where the spec was read from, as given to the runner. */
	std::string SpecPath;
	/** The spec: the run_pie_smoke parameters (thresholds, windows and input events are read from it). */
	FJson Spec = FJson::object();
	ESmokeOutcome Outcome = ESmokeOutcome::Ran;
	FJson Report = FJson::object();
	/** Refused or Unreadable: the message, the error code and the error data (null when none). */
	std::string ErrorMessage;
	int ErrorCode = 0;
	FJson ErrorData;
	/** Optional: the lines behind the must_absent counts, for the HTML log section. */
	std::vector<FMatchedLogLine> MatchedLogLines;
	/** Optional: the clip's frames, for the HTML frame strip. */
	std::vector<FClipFrame> ClipFrames;
};

struct FSmokeSuite
{
	std::string Name = "tarnwick smoke";
	/** ISO-8601 time the suite started; written to JUnit when non-empty. */
	std::string Timestamp;
	std::vector<FSmokeSpecResult> Specs;
};

/** True when the spec ran and its report says "ok": true. */
bool IsSessionOk(const FSmokeSpecResult& Result);

/** The suite's exit code: 2 when any spec was refused or unreadable, else 1 when any session is not ok, else 0. */
int SuiteExitCode(const FSmokeSuite& Suite);
}
