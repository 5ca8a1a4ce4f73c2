// The log side of a smoke session's verdict: the four pattern groups a spec gives in log_patterns, the split of
// the session's log lines into active-runtime and teardown buckets, the counts per pattern, log_ok, and the
// report keys that show them. Pure: the caller copies the lines out of the log capture first.
//
// A line matches a pattern when its message or its category name contains the pattern, ignoring case, so a
// category such as "LogChooser" works as a pattern. The first line matching ignore_after_pattern opens the
// teardown bucket, which only must_absent is counted over (and which fails log_ok only when teardown is not
// allowed).
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "TarnwickJson.h"
#include "TarnwickLogCapture.h"

#include <string_view>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** The patterns every session treats as must-absent, in this order. */
inline const std::vector<std::string>& DefaultMustAbsentPatterns()
{
	static const std::vector<std::string> Defaults = {"Blueprint Runtime Error", "Accessed None", "LogChooser"};
	return Defaults;
}

/**
 * Reads log_patterns: the grouped object form, the flat array of must-absent patterns, or anything else (no
 * extra patterns). The defaults always lead must_absent; repeated patterns are dropped, ignoring case. Never
 * refuses: non-string and empty elements are skipped.
 */
FLogPatterns ParseLogPatterns(const FJson& Params);

enum class ELogGroup : uint8
{
	MustAbsent,
	MustPresent,
	ObserveOnly,
	Warn,
	Count,
};

struct FLogEvaluation
{
	int32 ActiveEntryCount = 0;
	int32 TeardownEntryCount = 0;
	/** Per group, one count per pattern in group order, over the active-runtime bucket. */
	std::vector<int32> ActiveCounts[static_cast<size_t>(ELogGroup::Count)];
	/** One count per must_absent pattern over the teardown bucket. */
	std::vector<int32> TeardownMustAbsentCounts;
	int32 ActiveMustAbsentTotal = 0;
	int32 TeardownMustAbsentTotal = 0;
	int32 MustPresentMatched = 0;
	bool bLogOk = true;
};

/** Buckets Lines (the session's lines, oldest first) and counts every group. */
FLogEvaluation EvaluateLogBuckets(const FLogPatterns& Patterns, std::string_view IgnoreAfterPattern, bool bTeardownAllowed,
	const std::vector<FTarnwickLogEntry>& Lines);

/** grouped_counts, warnings, missing_must_present, post_marker_counts, total_matches. */
void WriteLogSection(const FLogPatterns& Patterns, const std::string& IgnoreAfterPattern, bool bTeardownAllowed,
	const FLogEvaluation& Evaluation, FJson& Report);
}
