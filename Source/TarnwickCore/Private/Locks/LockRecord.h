// The content of one lock file and the rule that decides who may take it. Pure: the lock files call these
// around their file I/O, and tests walk the rule case by case without a second process.
//
// On disk a record is a JSON object {"owner", "pid", "namespace", "action", "acquired_utc",
// "lease_until_utc"}; times are ISO-8601 UTC with milliseconds ("2025-03-01T12:00:05.250Z"), because the
// lease is compared across processes and only the wall clock is shared between them.
#pragma once
#include "HostTypes.h"
#include "TarnwickLocks.h"

#include <optional>
#include <string>
#include <string_view>

namespace Tarnwick::Locks
{
struct FLockRecord
{
	std::string Owner;
	int32 Pid = 0;
	std::string Namespace;
	std::string Action;
	double AcquiredUtc = 0.0;
	double LeaseUntilUtc = 0.0;
};

/** Why a lease may or may not be taken; every value but Held allows it. */
enum class ELeaseVerdict : uint8
{
	Free,
	Renewal,
	HolderGone,
	LeaseExpired,
	Held,
};

/**
 * Owner in process Pid asks for the lease at NowUtc while Holder (absent when there is no lock file) holds it.
 * The holder's own renewal needs the same owner in the same process; a lease that ends at NowUtc is over.
 */
ELeaseVerdict EvaluateLease(const std::optional<FLockRecord>& Holder, std::string_view Owner, int32 Pid, double NowUtc, bool bHolderAlive);

/** The refusal for a held lease: seconds left rounded up (at least 1) and who holds it. */
FDecision MakeRefusal(const FLockRecord& Holder, double NowUtc);

/** ISO-8601 UTC, truncated to the millisecond. */
std::string FormatUtc(double UtcSeconds);
/** Reads FormatUtc's form; the fraction and the trailing 'Z' are optional. */
std::optional<double> ParseUtc(std::string_view Text);

std::string WriteLockRecord(const FLockRecord& Record);
/** Null when the text is not a lock record: bad JSON, or owner, pid or lease missing or of the wrong type. */
std::optional<FLockRecord> ParseLockRecord(std::string_view Text);
}
