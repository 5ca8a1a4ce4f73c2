#include "Logs/LogQueryRules.h"

#include "Logs/LogTextMatch.h"
#include "Printf.h"
#include "TarnwickLogVerbosity.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace Tarnwick::Logs
{
std::optional<double> ReadNumber(const FJson& Value)
{
	if (Value.is_number())
	{
		const double Number = Value.get<double>();
		return std::isfinite(Number) ? std::optional<double>(Number) : std::nullopt;
	}
	if (!Value.is_string()) return std::nullopt;
	const std::string& Text = Value.get_ref<const std::string&>();
	const size_t Begin = Text.find_first_not_of(" \t");
	if (Begin == std::string::npos) return std::nullopt;
	const size_t End = Text.find_last_not_of(" \t") + 1;
	double Parsed = 0.0;
	const auto [Ptr, Ec] = std::from_chars(Text.data() + Begin, Text.data() + End, Parsed);
	if (Ec != std::errc() || Ptr != Text.data() + End || !std::isfinite(Parsed)) return std::nullopt;
	return Parsed;
}

int32 ReadCount(const FJsonPtr& Params, const FCountParam& Param)
{
	if (!Params || !Params->is_object()) return Param.Default;
	const auto It = Params->find(Param.Key);
	if (It == Params->end()) return Param.Default;
	const std::optional<double> Number = ReadNumber(*It);
	if (!Number) return Param.Default;
	// Clamped as a double first: a huge value must not overflow the conversion.
	const double Truncated = std::trunc(*Number);
	if (Truncated <= Param.Min) return Param.Min;
	if (Truncated >= Param.Max) return Param.Max;
	return static_cast<int32>(Truncated);
}

std::string ReadString(const FJsonPtr& Params, const char* Key)
{
	if (!Params || !Params->is_object()) return {};
	const auto It = Params->find(Key);
	return It != Params->end() && It->is_string() ? It->get<std::string>() : std::string();
}

uint8 ParseMaxVerbosity(std::string_view Text)
{
	if (Text.empty()) return ELogVerbosity::VeryVerbose;
	const std::string Folded = FoldAsciiCopy(Text);
	if (Folded == "fatal") return ELogVerbosity::Fatal;
	if (Folded == "error") return ELogVerbosity::Error;
	if (Folded == "warning") return ELogVerbosity::Warning;
	if (Folded == "display") return ELogVerbosity::Display;
	if (Folded == "verbose") return ELogVerbosity::Verbose;
	if (Folded == "very_verbose") return ELogVerbosity::VeryVerbose;
	return ELogVerbosity::Log;
}

namespace
{
template <typename FMessage>
FJson MakeEntryJson(const FTarnwickLogEntry& Entry, FMessage&& Message)
{
	FJson Out = FJson::object();
	Out.get_ref<FJson::object_t&>().reserve(4);
	Out["timestamp"] = Entry.Timestamp;
	Out["category"] = Entry.Category.ToString();
	Out["verbosity"] = VerbosityNameLower(Entry.Verbosity);
	Out["message"] = std::forward<FMessage>(Message);
	return Out;
}
}

FJson LogEntryToJson(const FTarnwickLogEntry& Entry)
{
	return MakeEntryJson(Entry, Entry.Message);
}

FJson LogEntriesToJson(const std::vector<FTarnwickLogEntry>& Entries)
{
	FJson Out = FJson::array();
	Out.get_ref<FJson::array_t&>().reserve(Entries.size());
	for (const FTarnwickLogEntry& Entry : Entries) Out.push_back(MakeEntryJson(Entry, Entry.Message));
	return Out;
}

FJson LogEntriesToJson(std::vector<FTarnwickLogEntry>&& Entries)
{
	FJson Out = FJson::array();
	Out.get_ref<FJson::array_t&>().reserve(Entries.size());
	for (FTarnwickLogEntry& Entry : Entries) Out.push_back(MakeEntryJson(Entry, std::move(Entry.Message)));
	return Out;
}

std::string FormatTailLine(const FTarnwickLogEntry& Entry)
{
	return Tarnwick::Printf("[%s][%s] %s", Entry.Category.ToString().c_str(), VerbosityNameLower(Entry.Verbosity), Entry.Message.c_str());
}
}
