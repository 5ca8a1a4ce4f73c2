#include "Timeline.h"

#include "ReportJson.h"

#include <cmath>
#include <unordered_map>

namespace Tarnwick::Reports
{
namespace
{
constexpr std::array<const char*, 8> KindNames = {"missing", "bool", "number", "string", "vector", "rotator", "object", "json"};

EValueKind KindOfValue(const FJson& Value)
{
	if (Value.is_boolean())
	{
		return EValueKind::Bool;
	}
	if (Value.is_number())
	{
		return EValueKind::Number;
	}
	if (Value.is_string())
	{
		return EValueKind::String;
	}
	if (Value.is_array() && Value.size() == 3 && Value[0].is_number() && Value[1].is_number() && Value[2].is_number())
	{
		return EValueKind::Vector;
	}
	return EValueKind::Json;
}

// Per-variable state of the extraction; the series itself lives in the timeline and is passed in.
class FSeriesBuilder
{
public:
	void Add(FVarSeries& Series, size_t Row, double T, const FJson& Value)
	{
		if (Series.Kind == EValueKind::Missing)
		{
			Series.Kind = KindOfValue(Value);
		}
		double V = 0.0;
		switch (Series.Kind)
		{
		case EValueKind::Bool:
			if (!Value.is_boolean())
			{
				return Mismatch(Series);
			}
			V = Value.get<bool>() ? 1.0 : 0.0;
			break;
		case EValueKind::Number:
			if (!Value.is_number())
			{
				return Mismatch(Series);
			}
			V = Value.get<double>();
			break;
		case EValueKind::String:
		case EValueKind::Object:
			if (!Value.is_string())
			{
				return Mismatch(Series);
			}
			V = static_cast<double>(StateIndex(Series, Value.get_ref<const std::string&>()));
			break;
		case EValueKind::Vector:
		case EValueKind::Rotator:
		{
			if (!Value.is_array() || Value.size() != 3 || !Value[0].is_number() || !Value[1].is_number() || !Value[2].is_number())
			{
				return Mismatch(Series);
			}
			const double X = Value[0].get<double>();
			const double Y = Value[1].get<double>();
			const double Z = Value[2].get<double>();
			Series.C[0].push_back(X);
			Series.C[1].push_back(Y);
			Series.C[2].push_back(Z);
			V = std::sqrt(X * X + Y * Y + Z * Z);
			break;
		}
		case EValueKind::Json:
		case EValueKind::Missing:
			Series.LastRaw = Value;
			V = 0.0;
			break;
		}
		if (Series.T.empty() || Row != LastRow + 1)
		{
			Series.SegmentStarts.push_back(Series.T.size());
		}
		LastRow = Row;
		Series.T.push_back(T);
		Series.V.push_back(V);
	}

private:
	static void Mismatch(FVarSeries& Series) { ++Series.Mismatched; }

	size_t StateIndex(FVarSeries& Series, const std::string& Text)
	{
		if (!Series.States.empty() && Series.States[LastState] == Text)
		{
			return LastState;
		}
		const auto [It, bInserted] = StateIds.try_emplace(Text, Series.States.size());
		if (bInserted)
		{
			Series.States.push_back(Text);
		}
		LastState = It->second;
		return LastState;
	}

	size_t LastRow = 0;
	size_t LastState = 0;
	std::unordered_map<std::string, size_t> StateIds;
};
}

EValueKind ParseValueKind(std::string_view Name)
{
	for (size_t I = 0; I < KindNames.size(); ++I)
	{
		if (Name == KindNames[I])
		{
			return static_cast<EValueKind>(I);
		}
	}
	return EValueKind::Missing;
}

const char* ValueKindName(EValueKind Kind)
{
	return KindNames[static_cast<size_t>(Kind)];
}

FTimeline ExtractTimeline(const FJson& Report)
{
	FTimeline Timeline;
	std::unordered_map<std::string, size_t> VarIds;
	if (const FJson* Summary = FindObject(Report, "var_summary"))
	{
		for (const auto& [Name, Entry] : Summary->items())
		{
			VarIds.emplace(Name, Timeline.Vars.size());
			FVarSeries& Series = Timeline.Vars.emplace_back();
			Series.Name = Name;
			Series.Kind = ParseValueKind(String(Entry, "kind"));
		}
	}
	const FJson* Rows = FindArray(Report, "samples");
	if (!Rows)
	{
		return Timeline;
	}

	std::vector<FSeriesBuilder> Builders(Timeline.Vars.size());

	// Rows list their values in the same order pass after pass, so the variable at each position is guessed
	// from the previous row before falling back to the name lookup.
	std::vector<size_t> Guess;
	bool bFirst = true;
	for (size_t RowIndex = 0; RowIndex < Rows->size(); ++RowIndex)
	{
		const FJson& Row = (*Rows)[RowIndex];
		const std::optional<double> T = OptNumber(Row, "t");
		if (!T || !std::isfinite(*T))
		{
			continue;
		}
		Timeline.FirstT = bFirst ? *T : Timeline.FirstT;
		Timeline.LastT = *T;
		bFirst = false;
		++Timeline.RowCount;
		const FJson* Values = FindObject(Row, "values");
		if (!Values)
		{
			continue;
		}
		size_t Position = 0;
		for (auto It = Values->begin(); It != Values->end(); ++It, ++Position)
		{
			size_t Id = Position < Guess.size() ? Guess[Position] : Timeline.Vars.size();
			if (Id >= Timeline.Vars.size() || Timeline.Vars[Id].Name != It.key())
			{
				const auto [Found, bNew] = VarIds.try_emplace(It.key(), Timeline.Vars.size());
				if (bNew)
				{
					// A variable the summary does not list (an older report): its kind comes from its first value.
					Timeline.Vars.emplace_back().Name = It.key();
					Builders.emplace_back();
				}
				Id = Found->second;
				if (Position < Guess.size())
				{
					Guess[Position] = Id;
				}
				else
				{
					Guess.push_back(Id);
				}
			}
			Builders[Id].Add(Timeline.Vars[Id], RowIndex, *T, It.value());
		}
	}
	return Timeline;
}
}
