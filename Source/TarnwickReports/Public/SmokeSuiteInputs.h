// What a smoke suite starts from and what it gathers beside each report: the spec files named on the command
// line (files, or folders of them), and the log lines behind a report's must_absent counts. Both are plain
// functions over files and copied log lines, so the runner stays thin and they are tested without an editor.
#pragma once
#include "SmokeSuiteResult.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Tarnwick::Reports
{
/**
 * One entry for each spec, in the order given: a file as named, a folder's "*.json" files in name order (not its
 * subfolders). A spec that reads as a JSON object is Ran with Spec filled, ready to run; anything else is
 * Unreadable with the reason. Names are the file names without ".json", made unique within the suite.
 */
std::vector<FSmokeSpecResult> CollectSpecs(const std::vector<std::string>& Paths);

/** A log line as copied out of the editor's log capture. */
struct FLogLine
{
	/** Monotonic seconds, the capture's clock. */
	double Timestamp = 0.0;
	std::string Category;
	/** Lower-case verbosity name. */
	std::string Verbosity;
	std::string Message;
};

/**
 * The lines behind a finished session's must_absent counts, found as the session found them: the lines after
 * the latest marker line ("<marker> begin" in the report's marker), split into active runtime and teardown at
 * the first line matching the report's ignore_after_pattern, each matched against the report's must_absent
 * patterns (message or category, ignoring case). A line is listed once per pattern it matches; at most Limit.
 */
std::vector<FMatchedLogLine> FindMustAbsentLines(const std::vector<FLogLine>& Log, const FJson& Report, size_t Limit = 200);
}
