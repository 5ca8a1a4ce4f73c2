#include "HtmlSession.h"

#include "HtmlParts.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>

namespace Tarnwick::Reports
{
using namespace Html;

std::string VerdictWord(const FSmokeSpecResult& Result)
{
	if (Result.Outcome == ESmokeOutcome::Refused)
	{
		return "REFUSED";
	}
	if (Result.Outcome == ESmokeOutcome::Unreadable)
	{
		return "UNREADABLE";
	}
	if (IsSessionOk(Result))
	{
		return "PASS";
	}
	const std::string Status = String(Result.Report, "status");
	if (Status == "error")
	{
		return "ERROR";
	}
	if (Status == "stopped")
	{
		return "STOPPED";
	}
	if (Status == "running")
	{
		return "RUNNING";
	}
	return "FAIL";
}

const char* VerdictClass(const FSmokeSpecResult& Result)
{
	if (Result.Outcome != ESmokeOutcome::Ran)
	{
		return "refused";
	}
	return IsSessionOk(Result) ? "pass" : "fail";
}

std::string SpecAnchor(const FSmokeSpecResult& Result)
{
	return AnchorId("spec-", Result.Name);
}

void AppendSpecSection(std::string& Out, const FSmokeSpecResult& Result, const FHtmlOptions& Options, size_t& FrameBudget)
{
	Out += Printf("<section class=\"spec %s\" id=\"%s\" data-spec=\"", VerdictClass(Result), SpecAnchor(Result).c_str());
	Out += Attr(Result.Name);
	Out += "\">";
	Banner(Out, Result);
	if (Result.Outcome != ESmokeOutcome::Ran)
	{
		Refusal(Out, Result);
		SpecSource(Out, Result);
		Out += "</section>";
		return;
	}
	const std::vector<FExpectationView> Views = BuildExpectationViews(Result.Report, Result.Spec);
	const FTimeline Timeline = ExtractTimeline(Result.Report);
	std::unordered_map<std::string, size_t> VarIndex;
	for (size_t I = 0; I < Timeline.Vars.size(); ++I)
	{
		VarIndex.emplace(Timeline.Vars[I].Name, I);
	}
	FPlotContext Context;
	Context.Markers = CollectMarkers(Result);
	Context.T0 = 0.0;
	Context.T1 = TimeAxisEnd(Result, Timeline, Context.Markers);
	Context.Buckets = std::max(16, Options.PlotBuckets);

	Expectations(Out, Result, Views, VarIndex);
	Plots(Out, Result, Timeline, Views, Context);
	LogSection(Out, Result);
	DeterminismSection(Out, Result.Report);
	ResolutionSection(Out, Result.Report);
	InputSection(Out, Result.Report);
	ClipSection(Out, Result, FrameBudget);
	ProfilingSection(Out, Result.Report);
	SpecSource(Out, Result);
	Out += "</section>";
}
}
