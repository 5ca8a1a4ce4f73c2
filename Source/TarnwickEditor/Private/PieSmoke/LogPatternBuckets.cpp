#include "PieSmoke/LogPatternBuckets.h"

#include "Logs/LogTextMatch.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"

#include <unordered_map>

namespace Tarnwick::PieSmoke
{
namespace
{
void AppendUnique(std::vector<std::string>& Group, const std::string& Pattern)
{
	if (Pattern.empty()) return;
	for (const std::string& Existing : Group)
	{
		if (EqualsIgnoreCase(Existing, Pattern)) return;
	}
	Group.push_back(Pattern);
}

void AppendStrings(std::vector<std::string>& Group, const FJson& Object, const char* Key)
{
	const auto It = Object.find(Key);
	if (It == Object.end() || !It->is_array()) return;
	for (const FJson& Element : *It)
	{
		if (Element.is_string()) AppendUnique(Group, Element.get<std::string>());
	}
}

const std::vector<std::string>& GroupOf(const FLogPatterns& Patterns, ELogGroup Group)
{
	switch (Group)
	{
	case ELogGroup::MustAbsent: return Patterns.MustAbsent;
	case ELogGroup::MustPresent: return Patterns.MustPresent;
	case ELogGroup::ObserveOnly: return Patterns.ObserveOnly;
	default: return Patterns.Warn;
	}
}

/** One distinct pattern with the verdicts already reached for category names (categories repeat a lot). */
struct FDistinctPattern
{
	explicit FDistinctPattern(const std::string& Text) : Matcher(Text) {}
	Tarnwick::Logs::FCaseInsensitivePattern Matcher;
	std::unordered_map<const void*, bool> CategoryHits;

	bool Matches(const FTarnwickLogEntry& Entry)
	{
		if (Matcher.FoundIn(Entry.Message)) return true;
		const void* Key = Entry.Category.GetComparisonKey();
		const auto It = CategoryHits.find(Key);
		if (It != CategoryHits.end()) return It->second;
		const bool bHit = Matcher.FoundIn(Entry.Category.ToString());
		CategoryHits.emplace(Key, bHit);
		return bHit;
	}
};

/** Case-insensitive interning of every pattern used, so each line is tested once per distinct pattern. */
class FPatternTable
{
public:
	int32 Add(const std::string& Text)
	{
		const std::string Folded = Tarnwick::Logs::FoldAsciiCopy(Text);
		const auto It = IndexByFolded.find(Folded);
		if (It != IndexByFolded.end()) return It->second;
		const int32 Index = static_cast<int32>(Patterns.size());
		Patterns.emplace_back(Text);
		IndexByFolded.emplace(Folded, Index);
		return Index;
	}
	FDistinctPattern& operator[](int32 Index) { return Patterns[static_cast<size_t>(Index)]; }
	int32 Num() const { return static_cast<int32>(Patterns.size()); }

private:
	std::vector<FDistinctPattern> Patterns;
	std::unordered_map<std::string, int32> IndexByFolded;
};

FJson CountsObject(const std::vector<std::string>& Group, const std::vector<int32>& Counts)
{
	FJson Out = FJson::object();
	for (size_t I = 0; I < Group.size(); ++I) Out[Group[I]] = Counts[I];
	return Out;
}
}

FLogPatterns ParseLogPatterns(const FJson& Params)
{
	FLogPatterns Out;
	for (const std::string& Pattern : DefaultMustAbsentPatterns()) AppendUnique(Out.MustAbsent, Pattern);
	const FJson* Given = FindValue(Params, "log_patterns");
	if (Given && Given->is_object())
	{
		AppendStrings(Out.MustAbsent, *Given, "must_absent");
		AppendStrings(Out.MustPresent, *Given, "must_present");
		AppendStrings(Out.ObserveOnly, *Given, "observe_only");
		AppendStrings(Out.Warn, *Given, "warn");
	}
	else if (Given && Given->is_array())
	{
		for (const FJson& Element : *Given)
		{
			if (Element.is_string()) AppendUnique(Out.MustAbsent, Element.get<std::string>());
		}
	}
	Out.Legacy = Out.MustAbsent;
	return Out;
}

FLogEvaluation EvaluateLogBuckets(const FLogPatterns& Patterns, std::string_view IgnoreAfterPattern, bool bTeardownAllowed,
	const std::vector<FTarnwickLogEntry>& Lines)
{
	constexpr size_t NumGroups = static_cast<size_t>(ELogGroup::Count);
	FPatternTable Table;
	std::vector<int32> GroupIndices[NumGroups];
	for (size_t G = 0; G < NumGroups; ++G)
	{
		for (const std::string& Pattern : GroupOf(Patterns, static_cast<ELogGroup>(G))) GroupIndices[G].push_back(Table.Add(Pattern));
	}
	const bool bSplit = !IgnoreAfterPattern.empty();
	FDistinctPattern Boundary{std::string(IgnoreAfterPattern)};

	std::vector<int32> ActiveHits(static_cast<size_t>(Table.Num()), 0);
	std::vector<int32> TeardownHits(static_cast<size_t>(Table.Num()), 0);
	const std::vector<int32>& MustAbsent = GroupIndices[static_cast<size_t>(ELogGroup::MustAbsent)];
	FLogEvaluation Out;
	bool bInTeardown = false;
	for (const FTarnwickLogEntry& Line : Lines)
	{
		if (!bInTeardown && bSplit && Boundary.Matches(Line)) bInTeardown = true;
		if (bInTeardown)
		{
			++Out.TeardownEntryCount;
			// Only must_absent is judged over teardown; the other groups describe the run itself.
			for (int32 Index : MustAbsent)
			{
				if (Table[Index].Matches(Line)) ++TeardownHits[static_cast<size_t>(Index)];
			}
			continue;
		}
		++Out.ActiveEntryCount;
		for (int32 Index = 0; Index < Table.Num(); ++Index)
		{
			if (Table[Index].Matches(Line)) ++ActiveHits[static_cast<size_t>(Index)];
		}
	}

	for (size_t G = 0; G < NumGroups; ++G)
	{
		for (int32 Index : GroupIndices[G]) Out.ActiveCounts[G].push_back(ActiveHits[static_cast<size_t>(Index)]);
	}
	for (int32 Index : MustAbsent) Out.TeardownMustAbsentCounts.push_back(TeardownHits[static_cast<size_t>(Index)]);
	for (int32 Count : Out.ActiveCounts[static_cast<size_t>(ELogGroup::MustAbsent)]) Out.ActiveMustAbsentTotal += Count;
	for (int32 Count : Out.TeardownMustAbsentCounts) Out.TeardownMustAbsentTotal += Count;
	for (int32 Count : Out.ActiveCounts[static_cast<size_t>(ELogGroup::MustPresent)])
	{
		if (Count >= 1) ++Out.MustPresentMatched;
	}
	Out.bLogOk = Out.ActiveMustAbsentTotal == 0 && (bTeardownAllowed || Out.TeardownMustAbsentTotal == 0) &&
		Out.MustPresentMatched == static_cast<int32>(Patterns.MustPresent.size());
	return Out;
}

void WriteLogSection(const FLogPatterns& Patterns, const std::string& IgnoreAfterPattern, bool bTeardownAllowed,
	const FLogEvaluation& Evaluation, FJson& Report)
{
	auto Counts = [&](ELogGroup Group) { return Evaluation.ActiveCounts[static_cast<size_t>(Group)]; };
	FJson Active = FJson::object();
	Active["must_absent"] = CountsObject(Patterns.MustAbsent, Counts(ELogGroup::MustAbsent));
	Active["must_present"] = CountsObject(Patterns.MustPresent, Counts(ELogGroup::MustPresent));
	Active["observe_only"] = CountsObject(Patterns.ObserveOnly, Counts(ELogGroup::ObserveOnly));
	Active["warn"] = CountsObject(Patterns.Warn, Counts(ELogGroup::Warn));
	Active["entry_count"] = Evaluation.ActiveEntryCount;
	FJson Teardown = FJson::object();
	Teardown["must_absent"] = CountsObject(Patterns.MustAbsent, Evaluation.TeardownMustAbsentCounts);
	Teardown["entry_count"] = Evaluation.TeardownEntryCount;
	Teardown["allowed"] = bTeardownAllowed;
	FJson Grouped = FJson::object();
	Grouped["active_runtime"] = std::move(Active);
	Grouped["teardown"] = std::move(Teardown);
	Grouped["ignore_after_pattern"] = IgnoreAfterPattern;
	Report["grouped_counts"] = std::move(Grouped);

	FJson Warnings = FJson::array();
	const std::vector<int32> WarnCounts = Counts(ELogGroup::Warn);
	for (size_t I = 0; I < Patterns.Warn.size(); ++I)
	{
		if (WarnCounts[I] >= 1) Warnings.push_back(Tarnwick::Printf("%s (x%d)", Patterns.Warn[I].c_str(), WarnCounts[I]));
	}
	Report["warnings"] = std::move(Warnings);

	FJson Missing = FJson::array();
	const std::vector<int32> PresentCounts = Counts(ELogGroup::MustPresent);
	for (size_t I = 0; I < Patterns.MustPresent.size(); ++I)
	{
		if (PresentCounts[I] == 0) Missing.push_back(Patterns.MustPresent[I]);
	}
	Report["missing_must_present"] = std::move(Missing);

	// The legacy list is the final must_absent list, so its counts are must_absent's.
	FJson PostMarker = FJson::object();
	const std::vector<int32> AbsentCounts = Counts(ELogGroup::MustAbsent);
	for (size_t I = 0; I < Patterns.Legacy.size() && I < AbsentCounts.size(); ++I) PostMarker[Patterns.Legacy[I]] = AbsentCounts[I];
	Report["post_marker_counts"] = std::move(PostMarker);
	Report["total_matches"] = Evaluation.ActiveMustAbsentTotal;
}
}
