#include "ExpectationView.h"

#include "ReportJson.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>

namespace Tarnwick::Reports
{
namespace
{
std::string Lower(std::string_view Text)
{
	std::string Out(Text);
	std::transform(Out.begin(), Out.end(), Out.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
	return Out;
}

bool IsComparison(const std::string& Op)
{
	return Op == "eq" || Op == "neq" || Op == "gt" || Op == "gte" || Op == "lt" || Op == "lte";
}

void ReadSpecEntry(const FJson& Entry, FExpectationView& View)
{
	if (View.Op.empty())
	{
		View.Op = Lower(String(Entry, "op"));
	}
	if (const FJson* Severity = FindKey(Entry, "severity"); Severity && Severity->is_string())
	{
		View.Severity = Lower(Severity->get<std::string>()) == "warn" ? "warn" : "error";
	}
	View.Var = SplitVarRef(String(Entry, "var"));
	View.OtherVar = SplitVarRef(String(Entry, "other_var"));
	if (const FJson* Value = FindKey(Entry, "value"))
	{
		View.Value = *Value;
	}
	if (View.When.empty() && IsComparison(View.Op) )
	{
		View.When = Lower(String(Entry, "when", "always"));
	}
	View.Min = OptNumber(Entry, "min");
	View.Max = OptNumber(Entry, "max");
	View.Seconds = OptNumber(Entry, "seconds");
	if (const FJson* Window = FindObject(Entry, "window"))
	{
		View.WindowFrom = OptNumber(*Window, "from");
		View.WindowTo = OptNumber(*Window, "to");
	}
	View.Describe = String(Entry, "describe");
	if (IsComparison(View.Op) && View.Value.is_number())
	{
		View.Threshold = View.Value.get<double>();
		View.ThresholdOp = View.Op;
	}
	else if (View.Op == "becomes_within")
	{
		if (const FJson* Predicate = FindObject(Entry, "predicate"))
		{
			const std::string PredicateOp = Lower(String(*Predicate, "op"));
			const FJson* Value = FindKey(*Predicate, "value");
			if (IsComparison(PredicateOp) && Value && Value->is_number())
			{
				View.Threshold = Value->get<double>();
				View.ThresholdOp = PredicateOp;
			}
			else if (PredicateOp == "between")
			{
				View.ThresholdOp = PredicateOp;
				if (!View.Min)
				{
					View.Min = OptNumber(*Predicate, "min");
				}
				if (!View.Max)
				{
					View.Max = OptNumber(*Predicate, "max");
				}
			}
		}
	}
}

void ReadResult(const FJson& Result, FExpectationView& View)
{
	View.Result = Result;
	View.Op = Lower(String(Result, "op"));
	View.Severity = Lower(String(Result, "severity", "error")) == "warn" ? "warn" : "error";
	View.Sentence = String(Result, "spec");
	View.Message = String(Result, "message");
	View.Reason = String(Result, "reason");
	View.When = Lower(String(Result, "when"));
	if (const std::optional<bool> Passed = OptBool(Result, "passed"))
	{
		View.Verdict = *Passed ? EVerdict::Pass : (View.Severity == "warn" ? EVerdict::Warn : EVerdict::Fail);
	}
	View.Margin = OptNumber(Result, "margin");
	View.DecidedAt = OptNumber(Result, "decided_at");
	if (const FJson* Violation = FindObject(Result, "first_violation"))
	{
		View.bHasViolation = true;
		View.ViolationSampleIndex = Number(*Violation, "sample_index", -1.0);
		if (const FJson* Actual = FindKey(*Violation, "actual"))
		{
			View.ViolationActual = *Actual;
		}
	}
	if (const FJson* Observed = FindKey(Result, "observed"))
	{
		View.Observed = *Observed;
	}
}
}

FVarRef SplitVarRef(std::string_view Reference)
{
	const size_t Dot = Reference.rfind('.');
	if (Dot != std::string_view::npos)
	{
		const std::string Suffix = Lower(Reference.substr(Dot + 1));
		if (Suffix == "x" || Suffix == "y" || Suffix == "z" || Suffix == "len" || Suffix == "base")
		{
			return {std::string(Reference.substr(0, Dot)), Suffix};
		}
	}
	return {std::string(Reference), std::string()};
}

const char* VerdictName(EVerdict Verdict)
{
	switch (Verdict)
	{
	case EVerdict::Pass: return "pass";
	case EVerdict::Fail: return "fail";
	case EVerdict::Warn: return "warn";
	case EVerdict::Pending: return "pending";
	}
	return "pending";
}

std::vector<FExpectationView> BuildExpectationViews(const FJson& Report, const FJson& Spec)
{
	std::vector<const FJson*> SpecEntries;
	std::vector<std::string> SpecIds;
	std::unordered_map<std::string, size_t> SpecById;
	if (const FJson* Expect = FindArray(Spec, "expect"))
	{
		for (size_t I = 0; I < Expect->size(); ++I)
		{
			const FJson& Entry = (*Expect)[I];
			std::string Id = String(Entry, "id");
			if (Id.empty())
			{
				Id = "e" + std::to_string(I);
			}
			SpecById.emplace(Id, SpecEntries.size());
			SpecEntries.push_back(&Entry);
			SpecIds.push_back(std::move(Id));
		}
	}

	std::vector<FExpectationView> Views;
	std::vector<bool> Used(SpecEntries.size(), false);
	if (const FJson* Results = FindArray(Report, "expectations"))
	{
		for (const FJson& Result : *Results)
		{
			FExpectationView View;
			View.Id = String(Result, "id");
			ReadResult(Result, View);
			if (const auto It = SpecById.find(View.Id); It != SpecById.end())
			{
				Used[It->second] = true;
				ReadSpecEntry(*SpecEntries[It->second], View);
			}
			Views.push_back(std::move(View));
		}
	}
	for (size_t I = 0; I < SpecEntries.size(); ++I)
	{
		if (Used[I])
		{
			continue;
		}
		FExpectationView View;
		View.Id = SpecIds[I];
		ReadSpecEntry(*SpecEntries[I], View);
		// Not evaluated: say what the entry asks in its own terms.
		View.Sentence = String(*SpecEntries[I], "var");
		View.Sentence += (View.Sentence.empty() ? "" : " ") + View.Op;
		if (!View.Value.is_null())
		{
			View.Sentence += " " + DisplayValue(View.Value);
		}
		Views.push_back(std::move(View));
	}
	return Views;
}
}
