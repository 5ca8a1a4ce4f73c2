#include "Mcp/TarnwickNameSuggestion.h"

#include <algorithm>
#include <limits>

namespace Tarnwick::Mcp
{
namespace
{
char Lower(char C)
{
	return (C >= 'A' && C <= 'Z') ? static_cast<char>(C - 'A' + 'a') : C;
}

std::string ToLower(std::string_view Text)
{
	std::string Out(Text);
	for (char& C : Out) C = Lower(C);
	return Out;
}
}

size_t EditDistance(std::string_view InA, std::string_view InB)
{
	const std::string A = ToLower(InA);
	const std::string B = ToLower(InB);
	// Three rows suffice for the neighbour swap (optimal string alignment).
	std::vector<size_t> Before(B.size() + 1), Previous(B.size() + 1), Current(B.size() + 1);
	for (size_t J = 0; J <= B.size(); ++J) Previous[J] = J;
	for (size_t I = 1; I <= A.size(); ++I)
	{
		Current[0] = I;
		for (size_t J = 1; J <= B.size(); ++J)
		{
			const size_t Cost = A[I - 1] == B[J - 1] ? 0 : 1;
			Current[J] = std::min({Previous[J] + 1, Current[J - 1] + 1, Previous[J - 1] + Cost});
			if (I > 1 && J > 1 && A[I - 1] == B[J - 2] && A[I - 2] == B[J - 1])
			{
				Current[J] = std::min(Current[J], Before[J - 2] + 1);
			}
		}
		Before.swap(Previous);
		Previous.swap(Current);
	}
	return Previous[B.size()];
}

std::optional<std::string> SuggestClosest(std::string_view Given, const std::vector<std::string>& Known)
{
	if (Given.empty()) return std::nullopt;
	const std::string LowerGiven = ToLower(Given);
	const size_t Allowed = std::max<size_t>(1, Given.size() / 3);
	const std::string* Best = nullptr;
	size_t BestScore = std::numeric_limits<size_t>::max();
	for (const std::string& Name : Known)
	{
		if (Name == Given) return std::nullopt;
		size_t Score = EditDistance(Given, Name);
		if (Score > Allowed)
		{
			// "tail_log" for "tail": a shortened name. (Not the other way round: "editor" is no answer to
			// "editor_nope".)
			const std::string LowerName = ToLower(Name);
			if (LowerGiven.size() < 3 || LowerName.find(LowerGiven) == std::string::npos) continue;
			Score = LowerName.size() - LowerGiven.size();
		}
		if (Score < BestScore)
		{
			Best = &Name;
			BestScore = Score;
		}
	}
	return Best ? std::optional<std::string>(*Best) : std::nullopt;
}

std::string DidYouMean(std::string_view Given, const std::vector<std::string>& Known)
{
	const std::optional<std::string> Suggestion = SuggestClosest(Given, Known);
	return Suggestion ? " (did you mean '" + *Suggestion + "'?)" : std::string();
}

std::string JoinNames(const std::vector<std::string>& Names, bool bQuoted)
{
	std::string Out;
	for (const std::string& Name : Names)
	{
		if (!Out.empty()) Out += ", ";
		Out += bQuoted ? "'" + Name + "'" : Name;
	}
	return Out;
}
}
