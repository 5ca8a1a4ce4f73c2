#include "TarnwickLogCapture.h"

#include "Logs/LogTextMatch.h"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace
{
using FRecord = FTarnwickLogCategoryName::FRecord;

struct FTextHash
{
	using is_transparent = void;
	size_t operator()(std::string_view Text) const { return std::hash<std::string_view>()(Text); }
};

// Records live as long as the process: entries (and the crash handler) may hold names during static destruction.
struct FNameTable
{
	std::mutex Mutex;
	/** Every spelling ever interned. */
	std::unordered_map<std::string, std::unique_ptr<FRecord>, FTextHash, std::equal_to<>> BySpelling;
	/** The first spelling of each name folded to lower case; its record is the comparison key of all spellings. */
	std::unordered_map<std::string, const FRecord*, FTextHash, std::equal_to<>> ByFolded;

	static FNameTable& Get()
	{
		static FNameTable* Table = new FNameTable;
		return *Table;
	}

	const FRecord* Intern(std::string_view Name)
	{
		std::lock_guard Lock(Mutex);
		if (auto It = BySpelling.find(Name); It != BySpelling.end()) return It->second.get();
		auto Record = std::make_unique<FRecord>();
		Record->Text = std::string(Name);
		std::string Folded = Tarnwick::Logs::FoldAsciiCopy(Name);
		auto [FoldedIt, bNew] = ByFolded.try_emplace(std::move(Folded), Record.get());
		Record->Canonical = bNew ? Record.get() : FoldedIt->second;
		const FRecord* Out = Record.get();
		BySpelling.emplace(Record->Text, std::move(Record));
		return Out;
	}

	const FRecord* Find(std::string_view Name)
	{
		std::lock_guard Lock(Mutex);
		if (auto It = BySpelling.find(Name); It != BySpelling.end()) return It->second.get();
		auto It = ByFolded.find(Tarnwick::Logs::FoldAsciiCopy(Name));
		return It == ByFolded.end() ? nullptr : It->second;
	}
};

const FRecord* EmptyRecord()
{
	static const FRecord* Empty = FNameTable::Get().Intern("");
	return Empty;
}
}

FTarnwickLogCategoryName::FTarnwickLogCategoryName() : Record(EmptyRecord()) {}

FTarnwickLogCategoryName::FTarnwickLogCategoryName(std::string_view Name) : Record(FNameTable::Get().Intern(Name)) {}

std::optional<FTarnwickLogCategoryName> FTarnwickLogCategoryName::Find(std::string_view Name)
{
	const FRecord* Found = FNameTable::Get().Find(Name);
	if (!Found) return std::nullopt;
	return FTarnwickLogCategoryName(Found);
}
