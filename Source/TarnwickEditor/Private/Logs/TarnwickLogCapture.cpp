#include "TarnwickLogCapture.h"

#include "Logs/LogTextMatch.h"
#include "PlatformTime.h"

#include <algorithm>
#include <unordered_set>

namespace
{
// A slot's buffer is reused, so once the ring is full a capture allocates nothing; a buffer left much larger than
// the new line (one huge line long ago) is given back so that a single burst does not stay pinned in the ring.
void AssignMessage(std::string& Slot, std::string_view Text)
{
	if (Slot.capacity() > 1024 && Slot.capacity() / 4 > Text.size())
	{
		std::string(Text).swap(Slot);
	}
	else
	{
		Slot.assign(Text.data(), Text.size());
	}
}

// Resolved before the lock is taken: the name table has a lock of its own.
std::vector<const void*> ResolveCategoryKeys(const std::vector<std::string>& Categories)
{
	std::vector<const void*> Keys;
	Keys.reserve(Categories.size());
	for (const std::string& Category : Categories)
	{
		if (const auto Name = FTarnwickLogCategoryName::Find(Category)) Keys.push_back(Name->GetComparisonKey());
	}
	return Keys;
}
}

FTarnwickLogCapture::FTarnwickLogCapture()
{
	// Reserved up front so that filling the ring never moves 10000 strings while holding the lock.
	Entries.reserve(Capacity);
}

void FTarnwickLogCapture::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double)
{
	Serialize(Message, Verbosity, Category);
}

void FTarnwickLogCapture::Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category)
{
	const uint8 RawVerbosity = static_cast<uint8>(Verbosity);
	std::lock_guard Lock(Mutex);
	// The clock is read under the lock so that ring order and timestamp order agree.
	const double Now = FPlatformTime::Seconds();
	const FTarnwickLogCategoryName Name = ResolveCategory(Category);
	if (Entries.size() < static_cast<size_t>(Capacity))
	{
		Entries.push_back(FTarnwickLogEntry{Now, Name, RawVerbosity, std::string(Message)});
	}
	else
	{
		FTarnwickLogEntry& Slot = Entries[static_cast<size_t>(WriteIndex)];
		Slot.Timestamp = Now;
		Slot.Category = Name;
		Slot.Verbosity = RawVerbosity;
		AssignMessage(Slot.Message, Message);
		bWrapped = true;
	}
	WriteIndex = (WriteIndex + 1) % Capacity;
	CountLine(RawVerbosity);
}

FTarnwickLogCategoryName FTarnwickLogCapture::ResolveCategory(std::string_view Category)
{
	// Lines come in runs of one category; the run's name costs one comparison.
	if (LastCategory && LastCategory->ToString() == Category) return *LastCategory;
	auto It = CategoryCache.find(Category);
	if (It == CategoryCache.end())
	{
		It = CategoryCache.emplace(std::string(Category), FTarnwickLogCategoryName(Category)).first;
	}
	LastCategory = It->second;
	return It->second;
}

void FTarnwickLogCapture::CountLine(uint8 Verbosity)
{
	switch (Verbosity)
	{
	case ELogVerbosity::Fatal: ++Counts.Fatal; break;
	case ELogVerbosity::Error: ++Counts.Error; break;
	case ELogVerbosity::Warning: ++Counts.Warning; break;
	case ELogVerbosity::Display:
	case ELogVerbosity::Log: ++Counts.Log; break;
	case ELogVerbosity::Verbose:
	case ELogVerbosity::VeryVerbose: ++Counts.Verbose; break;
	default: break; // 0 and flagged values are held but counted nowhere
	}
}

template <typename FVisitor>
void FTarnwickLogCapture::ForEachOldestFirst(FVisitor&& Visit) const
{
	const size_t Held = Entries.size();
	const size_t Start = bWrapped ? static_cast<size_t>(WriteIndex) : 0;
	for (size_t I = 0; I < Held; ++I)
	{
		const size_t Index = Start + I < Held ? Start + I : Start + I - Held;
		if (!Visit(Entries[Index])) return;
	}
}

std::vector<FTarnwickLogEntry> FTarnwickLogCapture::GetRecent(int32 Count) const
{
	std::vector<FTarnwickLogEntry> Out;
	if (Count < 1) return Out;
	std::lock_guard Lock(Mutex);
	const size_t Held = Entries.size();
	const size_t N = std::min(static_cast<size_t>(Count), Held);
	if (N == 0) return Out;
	const size_t First = bWrapped ? (static_cast<size_t>(WriteIndex) + Held - N) % Held : Held - N;
	Out.reserve(N);
	for (size_t I = 0; I < N; ++I)
	{
		Out.push_back(Entries[(First + I) % Held]);
	}
	return Out;
}

std::vector<FTarnwickLogEntry> FTarnwickLogCapture::Search(std::string_view Pattern, std::string_view Category, uint8 MaxVerbosity,
	int32 Limit) const
{
	std::vector<FTarnwickLogEntry> Out;
	if (Limit < 1) return Out;
	const void* CategoryKey = nullptr;
	if (!Category.empty())
	{
		const auto Name = FTarnwickLogCategoryName::Find(Category);
		if (!Name) return Out; // never seen in any letter case, so nothing held can match
		CategoryKey = Name->GetComparisonKey();
	}
	const Tarnwick::Logs::FCaseInsensitivePattern Matcher(Pattern);
	const size_t Wanted = static_cast<size_t>(Limit);

	std::lock_guard Lock(Mutex);
	ForEachOldestFirst([&](const FTarnwickLogEntry& Entry) {
		if (Entry.Verbosity > MaxVerbosity) return true;
		if (CategoryKey && Entry.Category.GetComparisonKey() != CategoryKey) return true;
		if (!Matcher.FoundIn(Entry.Message)) return true;
		Out.push_back(Entry);
		return Out.size() < Wanted;
	});
	return Out;
}

std::vector<std::string> FTarnwickLogCapture::GetCategories() const
{
	std::vector<FTarnwickLogCategoryName> Distinct;
	{
		std::unordered_set<const void*> Seen;
		std::lock_guard Lock(Mutex);
		ForEachOldestFirst([&](const FTarnwickLogEntry& Entry) {
			if (Seen.insert(Entry.Category.GetComparisonKey()).second) Distinct.push_back(Entry.Category);
			return true;
		});
	}
	std::vector<std::string> Names;
	Names.reserve(Distinct.size());
	for (const FTarnwickLogCategoryName& Name : Distinct) Names.push_back(Name.ToString());
	// Distinct names never compare equal ignoring case, so this order is total.
	std::sort(Names.begin(), Names.end(),
		[](const std::string& A, const std::string& B) { return Tarnwick::Logs::CompareIgnoreAsciiCase(A, B) < 0; });
	return Names;
}

int64 FTarnwickLogCapture::GetCount(uint8 Verbosity) const
{
	std::lock_guard Lock(Mutex);
	switch (Verbosity)
	{
	case ELogVerbosity::Fatal: return Counts.Fatal;
	case ELogVerbosity::Error: return Counts.Error;
	case ELogVerbosity::Warning: return Counts.Warning;
	case ELogVerbosity::Log: return Counts.Log;
	case ELogVerbosity::Verbose: return Counts.Verbose;
	default: return 0;
	}
}

FTarnwickLogCounts FTarnwickLogCapture::GetCounts() const
{
	std::lock_guard Lock(Mutex);
	return Counts;
}

std::vector<FTarnwickLogEntry> FTarnwickLogCapture::GetEntriesSince(double Cutoff, const std::vector<std::string>& Categories,
	uint8 MaxVerbosity, int32 Limit) const
{
	std::vector<FTarnwickLogEntry> Out;
	if (Limit < 1) return Out;
	const std::vector<const void*> Keys = ResolveCategoryKeys(Categories);
	if (!Categories.empty() && Keys.empty()) return Out;
	const size_t Wanted = static_cast<size_t>(Limit);

	std::lock_guard Lock(Mutex);
	ForEachOldestFirst([&](const FTarnwickLogEntry& Entry) {
		if (Entry.Timestamp < Cutoff || Entry.Verbosity > MaxVerbosity) return true;
		if (!Keys.empty() && std::find(Keys.begin(), Keys.end(), Entry.Category.GetComparisonKey()) == Keys.end()) return true;
		Out.push_back(Entry);
		return Out.size() < Wanted;
	});
	return Out;
}

int32 FTarnwickLogCapture::Num() const
{
	std::lock_guard Lock(Mutex);
	return static_cast<int32>(Entries.size());
}
