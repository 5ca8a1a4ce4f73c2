#include "HtmlParts.h"

#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>

namespace Tarnwick::Reports::Html
{
namespace
{
std::string SummaryFacts(const FJson& Summary, EValueKind Kind)
{
	std::vector<std::string> Facts;
	// Counts print whole, measurements with %g.
	const auto Add = [&](const char* Label, const char* Key, bool bCount) {
		if (const std::optional<double> Value = OptNumber(Summary, Key))
		{
			Facts.push_back(std::string(Label) + " " + (bCount ? Printf("%.0f", *Value) : Printf("%g", *Value)));
		}
	};
	Add("samples", "sample_count", true);
	switch (Kind)
	{
	case EValueKind::Number:
		Add("min", "min", false);
		Add("max", "max", false);
		Add("mean", "mean", false);
		Add("last", "last", false);
		break;
	case EValueKind::Bool:
		if (const std::optional<double> Duty = OptNumber(Summary, "duty_cycle"))
		{
			Facts.push_back(Printf("duty %.3f", *Duty));
		}
		Add("transitions", "transitions", true);
		if (const std::optional<double> First = OptNumber(Summary, "first_true_t"); First && *First >= 0.0)
		{
			Facts.push_back(Printf("first true t=%.2fs", *First));
		}
		break;
	case EValueKind::Vector:
	case EValueKind::Rotator:
		Add("len min", "len_min", false);
		Add("len max", "len_max", false);
		Add("len last", "len_last", false);
		break;
	case EValueKind::String:
	case EValueKind::Object:
		Add("distinct", "distinct_values", true);
		if (const FJson* Last = FindKey(Summary, "last"))
		{
			Facts.push_back("last " + DisplayValue(*Last));
		}
		break;
	default:
		break;
	}
	std::string Out;
	for (size_t I = 0; I < Facts.size(); ++I)
	{
		Out += I ? " · " : "";
		Out += Facts[I];
	}
	return Out;
}

void StateLegend(std::string& Out, const FVarSeries& Series, const FJson* Summary)
{
	if (Series.States.empty())
	{
		return;
	}
	const FJson* Dwell = Summary ? FindObject(*Summary, "time_in_state") : nullptr;
	Out += "<p class=\"legend\">";
	const size_t Shown = std::min<size_t>(Series.States.size(), 32);
	for (size_t I = 0; I < Shown; ++I)
	{
		Out += Printf("<span class=\"swatch\" style=\"background:%s\"></span>", StateColour(static_cast<int>(I)).c_str());
		Out += Esc(Series.States[I]);
		if (Dwell)
		{
			if (const std::optional<double> Held = OptNumber(*Dwell, Series.States[I]))
			{
				Out += Printf(" <span class=\"small\">%.2fs</span>", *Held);
			}
		}
		Out += " ";
	}
	if (Series.States.size() > Shown)
	{
		Out += Printf("… and %zu more", Series.States.size() - Shown);
	}
	Out += "</p>";
}
}

void Plots(std::string& Out, const FSmokeSpecResult& Result, const FTimeline& Timeline, const std::vector<FExpectationView>& Views,
	const FPlotContext& Context)
{
	const FJson& Report = Result.Report;
	Out += "<section class=\"plots\"><h3>Timeline</h3>";
	if (Bool(Report, "samples_truncated", false))
	{
		Out += Printf("<p class=\"note\">Sampling went on past max_samples: the plots show the %lld retained rows (to t=%.2fs); "
					  "the summaries and every expectation cover the whole run.</p>",
			static_cast<long long>(Number(Report, "samples_retained", static_cast<double>(Timeline.RowCount))), Timeline.LastT);
	}
	if (!FindArray(Report, "samples"))
	{
		Out += "<p class=\"note\">This report carries no retained rows, so only the summaries are shown.</p>";
	}
	if (!Context.Markers.empty())
	{
		Out += "<div class=\"lane\">";
		Out += RenderMarkerLane(Context);
		Out += "<p class=\"legend\"><span class=\"swatch input\"></span>input event <span class=\"swatch stage\"></span>stage "
			   "<span class=\"swatch probe\"></span>probe</p></div>";
	}

	const FJson* Summaries = FindObject(Report, "var_summary");
	std::unordered_map<std::string, const FJson*> Resolution;
	if (const FJson* Entries = FindArray(Report, "sample_resolution"))
	{
		for (const FJson& Entry : *Entries)
		{
			Resolution.emplace(String(Entry, "name"), &Entry);
		}
	}
	for (const FVarSeries& Series : Timeline.Vars)
	{
		std::vector<const FExpectationView*> Mine;
		for (const FExpectationView& View : Views)
		{
			if (View.Var.Name == Series.Name)
			{
				Mine.push_back(&View);
			}
		}
		const FJson* Summary = Summaries ? FindObject(*Summaries, Series.Name) : nullptr;
		Out += Printf("<figure class=\"plot kind-%s\" id=\"%s\" data-var=\"%s\" data-kind=\"%s\"><figcaption><b>", ValueKindName(Series.Kind),
			VarAnchor(Result, Series.Name).c_str(), Attr(Series.Name).c_str(), ValueKindName(Series.Kind));
		Out += Esc(Series.Name);
		Out += Printf("</b> <span class=\"kind\">%s</span> <span class=\"facts\">", ValueKindName(Series.Kind));
		Out += Esc(Summary ? SummaryFacts(*Summary, Series.Kind) : std::string());
		Out += "</span>";
		for (const FExpectationView* View : Mine)
		{
			Out += Printf(" <a class=\"chip %s\" href=\"#%s\">", VerdictName(View->Verdict), ExpectationAnchor(Result, View->Id).c_str());
			Out += Esc(View->Id);
			Out += "</a>";
		}
		Out += "</figcaption>";
		if (const auto It = Resolution.find(Series.Name); It != Resolution.end())
		{
			const std::string State = String(*It->second, "state");
			if (!State.empty() && State != "resolved")
			{
				const std::string Reason = String(*It->second, "reason", String(*It->second, "error"));
				Out += Printf("<p class=\"note %s\">", Bool(*It->second, "required", true) ? "fail" : "");
				Out += Esc(Printf("%s %s%s%s", Series.Name.c_str(), State.c_str(), Reason.empty() ? "" : ": ", Reason.c_str()));
				Out += "</p>";
			}
		}
		if (Series.Size() == 0)
		{
			Out += "<p class=\"note\">No samples were recorded for this variable.</p>";
		}
		Out += RenderVariablePlot(Series, Mine, Context);
		if (IsStateKind(Series.Kind))
		{
			StateLegend(Out, Series, Summary);
		}
		if (Series.Kind == EValueKind::Json && !Series.LastRaw.is_null())
		{
			Out += "<p class=\"note\">Raw JSON values are not plotted. Last value: <code>";
			std::string Raw = JsonText(Series.LastRaw);
			if (Raw.size() > 400)
			{
				Raw = Raw.substr(0, 400) + "…";
			}
			Out += Esc(Raw);
			Out += "</code></p>";
		}
		if (Series.Mismatched > 0)
		{
			Out += Printf("<p class=\"note\">%zu value(s) did not match the kind %s and are not drawn.</p>", Series.Mismatched,
				ValueKindName(Series.Kind));
		}
		Out += "</figure>";
	}
	Out += "</section>";
}

double TimeAxisEnd(const FSmokeSpecResult& Result, const FTimeline& Timeline, const std::vector<FTimeMarker>& Markers)
{
	const FJson& Report = Result.Report;
	double End = std::max(Number(Report, "duration", Number(Result.Spec, "duration", 0.0)), Timeline.LastT);
	if (const FJson* D = FindObject(Report, "determinism"))
	{
		End = std::max(End, Number(*D, "session_seconds", 0.0));
	}
	End = std::max(End, Number(Report, "elapsed_seconds", 0.0));
	for (const FTimeMarker& Marker : Markers)
	{
		End = std::max(End, Marker.T);
	}
	return End > 0.0 ? End : 1.0;
}
}
