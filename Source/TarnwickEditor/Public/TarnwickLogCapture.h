// The editor module's in-memory copy of the editor log. One FTarnwickLogCapture is owned by the module object,
// added to the global log redirector at start-up and removed (then destroyed) last at shutdown, after every
// reader is gone. It keeps the newest 10000 lines in a ring and cumulative counters per verbosity.
//
// Readers: the log actions, the build-error window and compile report, the action log scope, the smoke
// harness's log buckets and the crash dump (which reads it on whatever thread crashed). Every reading operation
// takes the capture's one lock for its whole duration and returns copies; callers build their JSON afterwards.
// Lines are walked oldest to newest everywhere, so a limited query returns the earliest matches in the ring.
#pragma once
#include "HostTypes.h"
#include "Logging.h"

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/**
 * A log category name, interned for the life of the process the way the engine interns FName: copying one is a
 * pointer copy and equality ignores letter case, while the spelling first given is kept for display. Interned
 * names are never freed, so entries copied out of the ring stay valid however long a reader keeps them.
 */
class FTarnwickLogCategoryName
{
public:
	/** The empty name. */
	FTarnwickLogCategoryName();
	/** Interns Name (a second call with the same spelling returns the same record). */
	explicit FTarnwickLogCategoryName(std::string_view Name);

	/** The name if it was ever interned in any letter case; nothing is added to the table. */
	static std::optional<FTarnwickLogCategoryName> Find(std::string_view Name);

	const std::string& ToString() const { return Record->Text; }
	bool IsNone() const { return Record->Text.empty(); }
	/** Names that differ only in letter case share one key. */
	const void* GetComparisonKey() const { return Record->Canonical; }

	friend bool operator==(const FTarnwickLogCategoryName& A, const FTarnwickLogCategoryName& B)
	{
		return A.Record->Canonical == B.Record->Canonical;
	}

	struct FRecord
	{
		std::string Text;
		const FRecord* Canonical = nullptr;
	};

private:
	explicit FTarnwickLogCategoryName(const FRecord* InRecord) : Record(InRecord) {}
	const FRecord* Record;
};

/** One captured line. */
struct FTarnwickLogEntry
{
	/** FPlatformTime::Seconds() when the line arrived: monotonic seconds, not wall-clock time. */
	double Timestamp = 0.0;
	FTarnwickLogCategoryName Category;
	/** The raw ELogVerbosity value handed to the device, flag bits included. */
	uint8 Verbosity = 0;
	/** The text exactly as received, with no prefix added. */
	std::string Message;
};

/** Lines seen per verbosity since the capture was created; never reduced when the ring overwrites. */
struct FTarnwickLogCounts
{
	int64 Fatal = 0;
	int64 Error = 0;
	int64 Warning = 0;
	/** Display and Log together. */
	int64 Log = 0;
	/** Verbose and VeryVerbose together. */
	int64 Verbose = 0;

	int64 Total() const { return Fatal + Error + Warning + Log + Verbose; }
};

class FTarnwickLogCapture final : public FOutputDevice
{
public:
	static constexpr int32 Capacity = 10000;

	FTarnwickLogCapture();
	FTarnwickLogCapture(const FTarnwickLogCapture&) = delete;
	FTarnwickLogCapture& operator=(const FTarnwickLogCapture&) = delete;

	/** Captures one line, stamped with the device's own clock read. Never logs anything itself. */
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category);
	/** The redirector's entry point: Time is ignored so that every entry carries the device's own stamp. */
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double Time) override;
	/** False: the redirector then delivers lines one caller at a time. */
	bool CanBeUsedOnAnyThread() const override { return false; }
	void Flush() override {}

	/** The newest min(Count, held) entries, oldest of them first; empty for Count < 1. */
	std::vector<FTarnwickLogEntry> GetRecent(int32 Count) const;

	/**
	 * Entries with a stored verbosity value ≤ MaxVerbosity, of category Category (ignoring case; empty = any) and
	 * whose message contains Pattern ignoring ASCII case (empty = any; plain text, no wildcards), walked oldest to
	 * newest and stopping at Limit results: the earliest matches, not the latest.
	 */
	std::vector<FTarnwickLogEntry> Search(std::string_view Pattern, std::string_view Category, uint8 MaxVerbosity, int32 Limit) const;

	/** The distinct category names held, sorted ascending ignoring case (as the engine's strings compare). */
	std::vector<std::string> GetCategories() const;

	/** 1 Fatal, 2 Error, 3 Warning, 5 Log (with Display), 6 Verbose (with VeryVerbose); 0 for any other value. */
	int64 GetCount(uint8 Verbosity) const;
	/** All five counters read under one lock. */
	FTarnwickLogCounts GetCounts() const;

	/**
	 * Entries with Timestamp ≥ Cutoff, stored verbosity ≤ MaxVerbosity and, when Categories is non-empty, a
	 * category equal to one of them (ignoring case); oldest first, at most Limit. To read from a marker line on,
	 * find its timestamp with Search and pass it here: the marker line itself is included.
	 */
	std::vector<FTarnwickLogEntry> GetEntriesSince(double Cutoff, const std::vector<std::string>& Categories, uint8 MaxVerbosity,
		int32 Limit) const;

	/** Entries held: grows to Capacity, then stays there. */
	int32 Num() const;

private:
	struct FTextHash
	{
		using is_transparent = void;
		size_t operator()(std::string_view Text) const { return std::hash<std::string_view>()(Text); }
	};

	FTarnwickLogCategoryName ResolveCategory(std::string_view Category);
	void CountLine(uint8 Verbosity);
	/** Calls Visit on each held entry oldest first until it returns false. Lock must be held. */
	template <typename FVisitor>
	void ForEachOldestFirst(FVisitor&& Visit) const;

	mutable std::mutex Mutex;
	std::vector<FTarnwickLogEntry> Entries;
	int32 WriteIndex = 0;
	bool bWrapped = false;
	FTarnwickLogCounts Counts;
	/** Categories this device has already interned, so a capture hashes locally instead of locking the name table. */
	std::unordered_map<std::string, FTarnwickLogCategoryName, FTextHash, std::equal_to<>> CategoryCache;
	std::optional<FTarnwickLogCategoryName> LastCategory;
};
