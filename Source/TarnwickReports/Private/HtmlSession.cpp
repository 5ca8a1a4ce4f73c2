#include "HtmlSession.h"

#include "Base64.h"
#include "ExpectationView.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"
#include "SvgPlot.h"
#include "Timeline.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>

namespace Tarnwick::Reports
{
namespace
{
std::string Esc(std::string_view Text)
{
	return EscapeText(Text);
}

std::string Attr(std::string_view Text)
{
	return EscapeAttribute(Text);
}

const char* PassClass(bool bPass)
{
	return bPass ? "pass" : "fail";
}

/** A cell for an optional JSON member: its display value, or an en dash when absent. */
std::string Cell(const FJson& Object, std::string_view Key)
{
	const FJson* Value = FindKey(Object, Key);
	return Value && !Value->is_null() ? Esc(DisplayValue(*Value)) : std::string("–");
}

void Chip(std::string& Out, const char* Label, const FJson& Report, const char* Key)
{
	const std::optional<bool> Value = OptBool(Report, Key);
	const char* Class = !Value ? "unknown" : PassClass(*Value);
	Out += Printf("<li class=\"chip %s\" data-verdict=\"%s\">%s <b>%s</b></li>", Class, Key, Label, !Value ? "?" : *Value ? "✓" : "✗");
}

// ---------------------------------------------------------------------------------------------------------------
// Banner

void Banner(std::string& Out, const FSmokeSpecResult& Result)
{
	const FJson& Report = Result.Report;
	Out += Printf("<header class=\"banner %s\"><div class=\"verdict-badge\">%s</div><div class=\"banner-text\"><h2>", VerdictClass(Result),
		Esc(VerdictWord(Result)).c_str());
	Out += Esc(Result.Name);
	Out += "</h2><p class=\"meta\">";
	if (Result.Outcome != ESmokeOutcome::Ran)
	{
		Out += Esc(Result.SpecPath);
		Out += "</p></div></header>";
		return;
	}
	std::vector<std::string> Meta;
	const std::string Map = String(Report, "map");
	if (!Map.empty())
	{
		Meta.push_back("map " + Map);
	}
	const std::string Session = String(Report, "session_id");
	if (!Session.empty())
	{
		Meta.push_back(Session);
	}
	Meta.push_back("status " + String(Report, "status", "unknown"));
	const FJson* Determinism = FindObject(Report, "determinism");
	const double SessionSeconds =
		Determinism ? Number(*Determinism, "session_seconds", Number(Report, "elapsed_seconds", 0.0)) : Number(Report, "elapsed_seconds", 0.0);
	Meta.push_back(Printf("%.2f of %gs session time", SessionSeconds, Number(Report, "duration", 0.0)));
	if (Determinism)
	{
		Meta.push_back(Printf("%lld frames", static_cast<long long>(Number(*Determinism, "frames", 0.0))));
		Meta.push_back(String(*Determinism, "clock", "game") + " clock");
	}
	for (size_t I = 0; I < Meta.size(); ++I)
	{
		Out += I ? " · " : "";
		Out += Esc(Meta[I]);
	}
	Out += "</p>";
	const std::string Error = String(Report, "error");
	if (!Error.empty())
	{
		Out += "<p class=\"session-error\">";
		Out += Esc(Error);
		Out += "</p>";
	}
	Out += "</div><ul class=\"verdicts\">";
	Chip(Out, "ok", Report, "ok");
	Chip(Out, "log", Report, "log_ok");
	Chip(Out, "samples", Report, "sample_ok");
	Chip(Out, "expectations", Report, "expectations_ok");
	Chip(Out, "stable", Report, "stable_ok");
	Out += "</ul></header>";
}

// ---------------------------------------------------------------------------------------------------------------
// Refusals

void Refusal(std::string& Out, const FSmokeSpecResult& Result)
{
	Out += "<section class=\"refusal\"><h3>";
	Out += Result.Outcome == ESmokeOutcome::Refused ? "run_pie_smoke refused this spec" : "This spec could not be read";
	Out += "</h3><p class=\"refusal-message\">";
	Out += Esc(Result.ErrorMessage);
	Out += "</p>";
	if (Result.ErrorCode != 0)
	{
		Out += Printf("<p class=\"small\">error code %d</p>", Result.ErrorCode);
	}
	const auto List = [&](const char* Key, const char* Title) {
		const FJson* Items = FindArray(Result.ErrorData, Key);
		if (!Items || Items->empty())
		{
			return;
		}
		Out += Printf("<h4>%s</h4><ul class=\"refusal-list\">", Title);
		for (const FJson& Item : *Items)
		{
			Out += "<li>";
			Out += Esc(Item.is_object() ? String(Item, "name") + " " + String(Item, "path") : DisplayValue(Item));
			Out += "</li>";
		}
		Out += "</ul>";
	};
	List("unsatisfiable_expectations", "Unsatisfiable expectations");
	List("sampled_vars", "Sampled variables");
	List("errored_blueprints", "Blueprints with compile errors");
	Out += "</section>";
}

// ---------------------------------------------------------------------------------------------------------------
// Expectations

std::string VarAnchor(const FSmokeSpecResult& Result, const std::string& Var)
{
	return AnchorId("var-", Result.Name + "/" + Var);
}

std::string ExpectationAnchor(const FSmokeSpecResult& Result, const std::string& Id)
{
	return AnchorId("exp-", Result.Name + "/" + Id);
}

void Expectations(std::string& Out, const FSmokeSpecResult& Result, const std::vector<FExpectationView>& Views,
	const std::unordered_map<std::string, size_t>& VarIndex)
{
	Out += "<section class=\"expectations\"><h3>Expectations</h3>";
	if (Views.empty())
	{
		Out += "<p class=\"small\">This spec has no expectations.</p></section>";
		return;
	}
	if (const FJson* Summary = FindObject(Result.Report, "expectations_summary"))
	{
		Out += Printf("<p class=\"small\">%lld total, %lld failed, %lld warned</p>", static_cast<long long>(Number(*Summary, "total", 0.0)),
			static_cast<long long>(Number(*Summary, "failed", 0.0)), static_cast<long long>(Number(*Summary, "warned", 0.0)));
	}
	Out += "<table class=\"expectation-table\"><thead><tr><th>result</th><th>id</th><th>expectation</th><th>margin</th>"
		   "<th>decided</th><th>message</th></tr></thead><tbody>";
	for (const FExpectationView& View : Views)
	{
		const char* Verdict = VerdictName(View.Verdict);
		Out += Printf("<tr class=\"expectation %s\" id=\"%s\" data-expectation=\"%s\"><td><span class=\"chip %s\">%s</span></td><td>", Verdict,
			ExpectationAnchor(Result, View.Id).c_str(), Attr(View.Id).c_str(), Verdict,
			View.Verdict == EVerdict::Fail ? "FAIL" : Verdict);
		Out += Esc(View.Id);
		Out += "</td><td class=\"sentence\">";
		Out += Esc(View.Sentence.empty() ? View.Op : View.Sentence);
		if (!View.Var.Name.empty() && VarIndex.count(View.Var.Name))
		{
			Out += Printf(" <a class=\"to-plot\" href=\"#%s\">plot</a>", VarAnchor(Result, View.Var.Name).c_str());
		}
		if (!View.Describe.empty())
		{
			Out += "<div class=\"describe\">";
			Out += Esc(View.Describe);
			Out += "</div>";
		}
		Out += "</td><td class=\"num margin\">";
		Out += View.Margin ? Esc(Printf("%+g", *View.Margin)) : std::string("–");
		Out += "</td><td class=\"num decided\">";
		Out += View.DecidedAt ? Printf("t=%.2fs", *View.DecidedAt) : std::string("–");
		Out += "</td><td class=\"message\">";
		Out += Esc(View.Message);
		Out += "</td></tr>";
	}
	Out += "</tbody></table>";
	Out += "</section>";
}

// ---------------------------------------------------------------------------------------------------------------
// Markers: input events, stages, probes

// A console-only stage or probe reports python_ok false with nothing run; only Python that ran and failed counts.
bool PythonFailed(const FJson& Script)
{
	return OptBool(Script, "python_ok") == std::optional<bool>(false) && !String(Script, "python_output").empty();
}

std::vector<FTimeMarker> CollectMarkers(const FSmokeSpecResult& Result)
{
	std::vector<FTimeMarker> Markers;
	const FJson* Events = FindArray(Result.Report, "input_events");
	const FJson* SpecEvents = FindArray(Result.Spec, "input_events");
	const size_t EventCount = Events ? Events->size() : SpecEvents ? SpecEvents->size() : 0;
	for (size_t I = 0; I < EventCount; ++I)
	{
		static const FJson Empty = FJson::object();
		const FJson& Event = Events ? (*Events)[I] : Empty;
		const FJson& SpecEvent = SpecEvents && I < SpecEvents->size() ? (*SpecEvents)[I] : Empty;
		const auto Field = [&](const char* Key, const std::string& Default = std::string()) {
			return String(Event, Key, String(SpecEvent, Key, Default));
		};
		std::string Kind = Field("event", "press");
		std::transform(Kind.begin(), Kind.end(), Kind.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
		const bool bFired = Bool(Event, "fired", false);
		const double At = Number(Event, "at_seconds", Number(SpecEvent, "at_seconds", 0.0));
		FTimeMarker Marker;
		Marker.Kind = EMarkerKind::Input;
		Marker.T = bFired ? Number(Event, "fired_at_seconds", At) : std::max(0.0, At);
		const std::string Key = Field("key");
		if (Kind == "down")
		{
			Marker.Label = Key + "↓";
		}
		else if (Kind == "up")
		{
			Marker.Label = Key + "↑";
		}
		else if (Kind == "press")
		{
			Marker.Label = Key + "⇅";
		}
		else if (Kind == "click")
		{
			Marker.Label = "click " + Field("button");
		}
		else
		{
			Marker.Label = "mouse";
		}
		std::string Title = Printf("input_events[%zu]: %s", I, Kind.c_str());
		if (!Key.empty())
		{
			Title += " " + Key;
		}
		if (const FJson* X = FindKey(SpecEvent, "x"); X && X->is_number())
		{
			Title += Printf(" at (%g, %g)", X->get<double>(), Number(SpecEvent, "y", 0.0));
		}
		if (!Events)
		{
			Title += Printf(", due t=%.2fs", At);
		}
		else if (!bFired)
		{
			Title += Printf(", due t=%.2fs, never fired", At);
			Marker.bFailed = true;
		}
		else if (!Bool(Event, "ok", true))
		{
			Title += Printf(", fired t=%.2fs and failed: %s", Marker.T, String(Event, "error").c_str());
			Marker.bFailed = true;
		}
		else
		{
			Title += Printf(", fired t=%.2fs", Marker.T);
		}
		Marker.Title = std::move(Title);
		Markers.push_back(std::move(Marker));
	}

	if (const FJson* Stages = FindObject(Result.Report, "stages"))
	{
		for (const auto& [Name, Stage] : Stages->items())
		{
			if (!Bool(Stage, "fired", false))
			{
				continue;
			}
			FTimeMarker Marker;
			Marker.Kind = EMarkerKind::Stage;
			Marker.T = std::max(0.0, Number(Stage, "fired_at_seconds", Number(Stage, "fired_at", 0.0)));
			Marker.Label = Name;
			Marker.bFailed = PythonFailed(Stage);
			Marker.Title = Printf("stage %s fired t=%.2fs%s", Name.c_str(), Marker.T, Marker.bFailed ? " (python failed)" : "");
			Markers.push_back(std::move(Marker));
		}
	}

	if (const FJson* Probes = FindArray(Result.Report, "probes"))
	{
		for (size_t I = 0; I < Probes->size(); ++I)
		{
			const FJson& Probe = (*Probes)[I];
			FTimeMarker Marker;
			Marker.Kind = EMarkerKind::Probe;
			const bool bFired = Bool(Probe, "fired", false);
			Marker.T = bFired ? Number(Probe, "fired_at_seconds", 0.0) : Number(Probe, "at_seconds", 0.0);
			Marker.Label = Printf("probe %zu", I);
			Marker.bFailed = !bFired || PythonFailed(Probe);
			Marker.Title = Printf("probe_scripts[%zu] %s t=%.2fs", I, bFired ? "fired" : "never fired, due", Marker.T);
			const std::string Output = String(Probe, "python_output");
			if (!Output.empty())
			{
				Marker.Title += ": " + Output;
			}
			Markers.push_back(std::move(Marker));
		}
	}
	std::stable_sort(Markers.begin(), Markers.end(), [](const FTimeMarker& A, const FTimeMarker& B) { return A.T < B.T; });
	return Markers;
}

// ---------------------------------------------------------------------------------------------------------------
// Plots

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

// ---------------------------------------------------------------------------------------------------------------
// Log buckets

void CountTable(std::string& Out, const char* Group, const FJson* Active, const FJson* Teardown, bool bTeardownAllowed)
{
	if (!Active || Active->empty())
	{
		return;
	}
	Out += Printf("<tr class=\"group\"><th colspan=\"3\">%s</th></tr>", Group);
	const bool bMustAbsent = std::string_view(Group) == "must_absent";
	const bool bMustPresent = std::string_view(Group) == "must_present";
	for (const auto& [Pattern, Count] : Active->items())
	{
		const double N = Count.is_number() ? Count.get<double>() : 0.0;
		const double T = Teardown ? Number(*Teardown, Pattern, 0.0) : 0.0;
		const bool bFail = (bMustAbsent && (N > 0 || (!bTeardownAllowed && T > 0))) || (bMustPresent && N == 0);
		const bool bWarn = std::string_view(Group) == "warn" && N > 0;
		Out += Printf("<tr class=\"%s\"><td><code>", bFail ? "fail" : bWarn ? "warn" : "");
		Out += Esc(Pattern);
		Out += Printf("</code></td><td class=\"num\">%.0f</td><td class=\"num\">%s</td></tr>", N, bMustAbsent ? Printf("%.0f", T).c_str() : "");
	}
}

void LogSection(std::string& Out, const FSmokeSpecResult& Result)
{
	const FJson& Report = Result.Report;
	const std::optional<bool> LogOk = OptBool(Report, "log_ok");
	Out += Printf("<section class=\"log\"><h3>Log <span class=\"chip %s\">log_ok %s</span></h3>", !LogOk ? "unknown" : PassClass(*LogOk),
		!LogOk ? "?" : *LogOk ? "✓" : "✗");
	const FJson* Grouped = FindObject(Report, "grouped_counts");
	const FJson* Active = Grouped ? FindObject(*Grouped, "active_runtime") : nullptr;
	const FJson* Teardown = Grouped ? FindObject(*Grouped, "teardown") : nullptr;
	if (Grouped)
	{
		const bool bAllowed = Teardown ? Bool(*Teardown, "allowed", true) : true;
		Out += Printf("<p class=\"small\">%.0f active-runtime line(s), %.0f teardown line(s) after the boundary ",
			Active ? Number(*Active, "entry_count", 0.0) : 0.0, Teardown ? Number(*Teardown, "entry_count", 0.0) : 0.0);
		const std::string Boundary = String(*Grouped, "ignore_after_pattern");
		Out += Boundary.empty() ? std::string("(no boundary)") : "<code>" + Esc(Boundary) + "</code>";
		Out += bAllowed ? "; teardown matches allowed</p>" : "; teardown matches fail the log</p>";
		Out += "<table class=\"log-table\"><thead><tr><th>pattern</th><th>active runtime</th><th>teardown</th></tr></thead><tbody>";
		const FJson* TeardownAbsent = Teardown ? FindObject(*Teardown, "must_absent") : nullptr;
		for (const char* Group : {"must_absent", "must_present", "observe_only", "warn"})
		{
			CountTable(Out, Group, Active ? FindObject(*Active, Group) : nullptr, std::string_view(Group) == "must_absent" ? TeardownAbsent : nullptr,
				bAllowed);
		}
		Out += "</tbody></table>";
	}
	const auto List = [&](const char* Key, const char* Title, const char* Class) {
		const FJson* Items = FindArray(Report, Key);
		if (!Items || Items->empty())
		{
			return;
		}
		Out += Printf("<h4>%s</h4><ul class=\"%s\">", Title, Class);
		for (const FJson& Item : *Items)
		{
			Out += "<li>";
			Out += Esc(DisplayValue(Item));
			Out += "</li>";
		}
		Out += "</ul>";
	};
	List("missing_must_present", "Missing must_present patterns", "fail-list");
	List("warnings", "Warnings", "warn-list");
	if (!Result.MatchedLogLines.empty())
	{
		Out += "<h4>Lines that matched must_absent</h4><table class=\"log-lines\"><thead><tr><th>t after marker</th><th>bucket</th>"
			   "<th>pattern</th><th>category</th><th>verbosity</th><th>message</th></tr></thead><tbody>";
		for (const FMatchedLogLine& Line : Result.MatchedLogLines)
		{
			Out += Printf("<tr class=\"%s\"><td class=\"num\">%.3fs</td><td>", Line.Bucket == "teardown" ? "teardown" : "fail", Line.Seconds);
			Out += Esc(Line.Bucket);
			Out += "</td><td><code>";
			Out += Esc(Line.Pattern);
			Out += "</code></td><td>";
			Out += Esc(Line.Category);
			Out += "</td><td>";
			Out += Esc(Line.Verbosity);
			Out += "</td><td class=\"message\">";
			Out += Esc(Line.Message);
			Out += "</td></tr>";
		}
		Out += "</tbody></table>";
	}
	Out += "</section>";
}

// ---------------------------------------------------------------------------------------------------------------
// Determinism, resolution, inputs, clip, profiling

void Row(std::string& Out, const char* Label, const std::string& Value, const char* Class = "")
{
	Out += Printf("<tr class=\"%s\"><th>%s</th><td>", Class, Label);
	Out += Value;
	Out += "</td></tr>";
}

void DeterminismSection(std::string& Out, const FJson& Report)
{
	const FJson* D = FindObject(Report, "determinism");
	if (!D)
	{
		return;
	}
	const std::optional<bool> Stable = OptBool(*D, "stable");
	const std::optional<bool> StableOk = OptBool(Report, "stable_ok");
	Out += Printf("<section class=\"determinism\"><h3>Determinism <span class=\"chip %s\">stable %s</span>", !Stable ? "unknown" : PassClass(*Stable),
		!Stable ? "?" : *Stable ? "✓" : "✗");
	if (StableOk)
	{
		Out += Printf(" <span class=\"chip %s\">stable_ok %s</span>", PassClass(*StableOk), *StableOk ? "✓" : "✗");
	}
	Out += "</h3><table class=\"facts-table\"><tbody>";
	Row(Out, "clock", Cell(*D, "clock"));
	if (const FJson* Settle = FindObject(*D, "settle"))
	{
		const bool bRequested = Bool(*Settle, "requested", false);
		const bool bSettled = Bool(*Settle, "settled", false);
		std::string Text = bRequested ? (bSettled ? "settled" : "not settled") : "not requested";
		Text += Printf(" after %.2fs (cap %gs)", Number(*Settle, "waited_seconds", 0.0), Number(*Settle, "cap_seconds", 0.0));
		const std::string Blocked = String(*Settle, "blocked_by");
		if (!Blocked.empty())
		{
			Text += ", blocked by " + Blocked;
		}
		Row(Out, "settle", Esc(Text), bRequested && !bSettled ? "fail" : "");
	}
	Row(Out, "session seconds", Cell(*D, "session_seconds"));
	Row(Out, "wall seconds", Cell(*D, "wall_seconds"));
	Row(Out, "clock ratio", Cell(*D, "clock_ratio"));
	Row(Out, "time dilation", Cell(*D, "time_dilation"));
	Row(Out, "frames", Cell(*D, "frames"));
	Row(Out, "ticks", Cell(*D, "ticks"));
	if (const FJson* Dt = FindObject(*D, "dt"))
	{
		Row(Out, "frame delta", Esc(Printf("min %.4fs · mean %.4fs · max %.4fs", Number(*Dt, "min", 0.0), Number(*Dt, "mean", 0.0), Number(*Dt, "max", 0.0))));
	}
	Row(Out, "hitch ticks", Cell(*D, "hitch_ticks"));
	Row(Out, "stalled ticks", Cell(*D, "stalled_ticks"), Number(*D, "stalled_ticks", 0.0) > 0 ? "fail" : "");
	Row(Out, "focus lost", Cell(*D, "focus_lost"));
	Row(Out, "unthrottled", Cell(*D, "unthrottled"));
	Row(Out, "watchdog fired", Cell(*D, "watchdog_fired"), Bool(*D, "watchdog_fired", false) ? "fail" : "");
	Out += "</tbody></table>";
	if (const FJson* Notes = FindArray(*D, "notes"); Notes && !Notes->empty())
	{
		Out += "<ul class=\"notes\">";
		for (const FJson& Note : *Notes)
		{
			Out += "<li>";
			Out += Esc(DisplayValue(Note));
			Out += "</li>";
		}
		Out += "</ul>";
	}
	Out += "</section>";
}

void ResolutionSection(std::string& Out, const FJson& Report)
{
	const FJson* Entries = FindArray(Report, "sample_resolution");
	if (!Entries || Entries->empty())
	{
		return;
	}
	const std::optional<bool> SampleOk = OptBool(Report, "sample_ok");
	Out += Printf("<section class=\"resolution\"><h3>Sampled variables <span class=\"chip %s\">sample_ok %s</span></h3>",
		!SampleOk ? "unknown" : PassClass(*SampleOk), !SampleOk ? "?" : *SampleOk ? "✓" : "✗");
	Out += "<table class=\"resolution-table\"><thead><tr><th>name</th><th>source</th><th>root</th><th>path / attribute / key</th>"
		   "<th>required</th><th>state</th><th title=\"reads ok / failed / dispatch failed\">reads</th><th>first read</th><th>reason</th>"
		   "</tr></thead><tbody>";
	for (const FJson& Entry : *Entries)
	{
		const std::string State = String(Entry, "state");
		const bool bRequired = Bool(Entry, "required", true);
		Out += Printf("<tr class=\"%s\">", State == "resolved" ? "" : bRequired ? "fail" : "warn");
		std::string Address = String(Entry, "path");
		Address += String(Entry, "attribute");
		Address += String(Entry, "key");
		for (const std::string& Value : {String(Entry, "name"), String(Entry, "source"), String(Entry, "root"), Address, std::string(bRequired ? "yes" : "no"), State})
		{
			Out += "<td>";
			Out += Esc(Value);
			Out += "</td>";
		}
		Out += "<td class=\"num\">" + Cell(Entry, "read_ok") + " / " + Cell(Entry, "read_fail") + " / " + Cell(Entry, "dispatch_fail") +
			"</td><td class=\"num\">";
		Out += OptNumber(Entry, "first_read_t") ? Printf("t=%.2fs", Number(Entry, "first_read_t", 0.0)) : std::string("–");
		Out += "</td><td class=\"message\">";
		std::string Reason = String(Entry, "reason");
		const std::string Error = String(Entry, "error");
		if (!Error.empty())
		{
			Reason += Reason.empty() ? Error : " — " + Error;
		}
		if (Bool(Entry, "kind_unstable", false))
		{
			Reason += Printf("%skind flipped to %s at t=%.2fs", Reason.empty() ? "" : "; ", String(Entry, "kind_flipped_to").c_str(),
				Number(Entry, "kind_flip_t", 0.0));
		}
		Out += Esc(Reason);
		Out += "</td></tr>";
	}
	Out += "</tbody></table></section>";
}

void InputSection(std::string& Out, const FJson& Report)
{
	const FJson* Events = FindArray(Report, "input_events");
	const FJson* Probes = FindArray(Report, "probes");
	const FJson* Stages = FindObject(Report, "stages");
	const bool bAnyStage = Stages && std::any_of(Stages->begin(), Stages->end(), [](const FJson& S) { return Bool(S, "fired", false) || Bool(S, "present", false); });
	if ((!Events || Events->empty()) && (!Probes || Probes->empty()) && !bAnyStage)
	{
		return;
	}
	Out += "<section class=\"inputs\"><h3>Input events, stages and probes</h3><table class=\"input-table\"><thead><tr><th>what</th>"
		   "<th>due</th><th>fired</th><th>result</th></tr></thead><tbody>";
	if (Events)
	{
		for (size_t I = 0; I < Events->size(); ++I)
		{
			const FJson& Event = (*Events)[I];
			const bool bFired = Bool(Event, "fired", false);
			const bool bOk = Bool(Event, "ok", false);
			Out += Printf("<tr class=\"%s\"><td>", !bFired || !bOk ? "fail" : "");
			Out += Esc(Printf("input_events[%zu] %s %s", I, String(Event, "event").c_str(), String(Event, "key").c_str()));
			Out += Printf("</td><td class=\"num\">t=%.2fs</td><td class=\"num\">%s</td><td>", Number(Event, "at_seconds", 0.0),
				bFired ? Printf("t=%.2fs", Number(Event, "fired_at_seconds", 0.0)).c_str() : "never");
			Out += Esc(bFired ? (bOk ? std::string("ok") : "failed: " + String(Event, "error")) : std::string("not fired"));
			Out += "</td></tr>";
		}
	}
	if (Stages)
	{
		for (const auto& [Name, Stage] : Stages->items())
		{
			if (!Bool(Stage, "fired", false) && !Bool(Stage, "present", false))
			{
				continue;
			}
			const bool bFired = Bool(Stage, "fired", false);
			Out += Printf("<tr class=\"%s\"><td>stage ", (!bFired || PythonFailed(Stage)) ? "fail" : "");
			Out += Esc(Name);
			Out += Printf("</td><td></td><td class=\"num\">%s</td><td>",
				bFired ? Printf("t=%.2fs", Number(Stage, "fired_at_seconds", Number(Stage, "fired_at", 0.0))).c_str() : "never");
			Out += Esc(String(Stage, "python_output"));
			Out += "</td></tr>";
		}
	}
	if (Probes)
	{
		for (size_t I = 0; I < Probes->size(); ++I)
		{
			const FJson& Probe = (*Probes)[I];
			const bool bFired = Bool(Probe, "fired", false);
			Out += Printf("<tr class=\"%s\"><td>probe_scripts[%zu]</td><td class=\"num\">t=%.2fs</td><td class=\"num\">%s</td><td>",
				(!bFired || PythonFailed(Probe)) ? "fail" : "", I, Number(Probe, "at_seconds", 0.0),
				bFired ? Printf("t=%.2fs", Number(Probe, "fired_at_seconds", 0.0)).c_str() : "never");
			std::string Text = Printf("%.0f console command(s)", Number(Probe, "console_command_count", 0.0));
			const std::string Output = String(Probe, "python_output");
			if (!Output.empty())
			{
				Text += "; python: " + Output;
			}
			Out += Esc(Text);
			Out += "</td></tr>";
		}
	}
	Out += "</tbody></table></section>";
}

void ClipSection(std::string& Out, const FSmokeSpecResult& Result, size_t& FrameBudget)
{
	const FJson& Report = Result.Report;
	const FJson* Paths = FindArray(Report, "frame_paths");
	if (!Paths)
	{
		return;
	}
	const std::optional<bool> CapturedOk = OptBool(Report, "captured_ok");
	Out += Printf("<section class=\"clip\"><h3>Clip frames <span class=\"chip %s\">captured_ok %s</span></h3>",
		!CapturedOk ? "unknown" : PassClass(*CapturedOk), !CapturedOk ? "?" : *CapturedOk ? "✓" : "✗");
	Out += Printf("<p class=\"small\">%.0f frame(s), %.0f valid, %.0f invalid", Number(Report, "frame_count", static_cast<double>(Paths->size())),
		Number(Report, "valid_frames", 0.0), Number(Report, "invalid_frames", 0.0));
	const std::string Dir = String(Report, "output_dir");
	if (!Dir.empty())
	{
		Out += " in <code>" + Esc(Dir) + "</code>";
	}
	const std::string Status = String(Report, "capture_status");
	if (!Status.empty())
	{
		Out += "; capture " + Esc(Status);
	}
	Out += "</p>";
	const std::string Hint = String(Report, "hint");
	if (!Hint.empty())
	{
		Out += "<p class=\"note fail\">" + Esc(Hint) + "</p>";
	}

	// Each frame's time and verdict: from capture_validity when the report has it, else from the row of the pass
	// that grabbed it. A frame below discard_first_frames is written but not counted.
	struct FFrameFacts
	{
		std::optional<double> T;
		int Valid = -1;
		bool bCounted = true;
	};
	std::unordered_map<std::string, FFrameFacts> Facts;
	const double Discard = std::clamp(Number(Result.Spec, "discard_first_frames", 1.0), 0.0, 16.0);
	for (size_t I = 0; I < Paths->size(); ++I)
	{
		if ((*Paths)[I].is_string())
		{
			Facts[(*Paths)[I].get<std::string>()].bCounted = static_cast<double>(I) >= Discard;
		}
	}
	if (const FJson* Rows = FindArray(Report, "samples"))
	{
		for (const FJson& SampleRow : *Rows)
		{
			const auto It = Facts.find(String(SampleRow, "frame_path"));
			if (It != Facts.end())
			{
				It->second.T = Number(SampleRow, "t", 0.0);
				if (const std::optional<bool> Valid = OptBool(SampleRow, "frame_valid"))
				{
					It->second.Valid = *Valid ? 1 : 0;
				}
			}
		}
	}
	if (const FJson* Validity = FindArray(Report, "capture_validity"))
	{
		for (const FJson& Entry : *Validity)
		{
			const auto It = Facts.find(String(Entry, "path"));
			if (It == Facts.end())
			{
				continue;
			}
			if (const std::optional<double> T = OptNumber(Entry, "session_seconds"))
			{
				It->second.T = *T;
			}
			if (const std::optional<bool> Counted = OptBool(Entry, "counted"))
			{
				It->second.bCounted = *Counted;
			}
			if (const std::optional<bool> Valid = OptBool(Entry, "valid"))
			{
				It->second.Valid = *Valid ? 1 : 0;
			}
		}
	}
	std::unordered_map<std::string, const FClipFrame*> Images;
	for (const FClipFrame& Frame : Result.ClipFrames)
	{
		Images.emplace(Frame.Path, &Frame);
	}
	// Embed an even spread of frames within the budget; the rest stay listed by path.
	const size_t Total = Paths->size();
	size_t Affordable = 0;
	{
		size_t Bytes = 0;
		for (const FJson& Path : *Paths)
		{
			const auto It = Path.is_string() ? Images.find(Path.get<std::string>()) : Images.end();
			if (It != Images.end())
			{
				Bytes += It->second->Png.size() * 4 / 3 + 64;
				++Affordable;
			}
		}
		if (Affordable > 0 && Bytes > FrameBudget)
		{
			Affordable = static_cast<size_t>(static_cast<double>(Affordable) * static_cast<double>(FrameBudget) / static_cast<double>(Bytes));
		}
	}
	const size_t Stride = Affordable == 0 ? Total + 1 : std::max<size_t>(1, (Total + Affordable - 1) / Affordable);
	Out += "<div class=\"frame-strip\">";
	std::vector<std::string> Listed;
	for (size_t I = 0; I < Total; ++I)
	{
		const std::string Path = (*Paths)[I].is_string() ? (*Paths)[I].get<std::string>() : std::string();
		const auto Image = Images.find(Path);
		const FFrameFacts& Frame = Facts[Path];
		const std::string FileName = Path.substr(Path.find_last_of('/') == std::string::npos ? 0 : Path.find_last_of('/') + 1);
		std::string Caption = FileName;
		if (Frame.T)
		{
			Caption += Printf(" t=%.2fs", *Frame.T);
		}
		const bool bDiscarded = !Frame.bCounted;
		const int Valid = Frame.Valid;
		Caption += bDiscarded ? " discarded" : Valid == 1 ? " valid" : Valid == 0 ? " invalid" : "";
		if (Image != Images.end() && I % Stride == 0 && FrameBudget >= Image->second->Png.size() * 4 / 3 + 64)
		{
			const std::string Data = Base64Encode(Image->second->Png);
			FrameBudget -= Data.size() + 64;
			Out += Printf("<figure class=\"frame %s\"><img alt=\"", bDiscarded ? "discarded" : Valid == 0 ? "invalid" : "");
			Out += Attr(FileName);
			Out += "\" src=\"data:image/png;base64,";
			Out += Data;
			Out += "\"><figcaption>";
			Out += Esc(Caption);
			Out += "</figcaption></figure>";
		}
		else
		{
			Listed.push_back(Caption + " " + Path);
		}
	}
	Out += "</div>";
	if (!Listed.empty())
	{
		Out += Printf("<details class=\"frame-list\"><summary>%zu frame(s) not embedded</summary><ul>", Listed.size());
		for (const std::string& Line : Listed)
		{
			Out += "<li><code>" + Esc(Line) + "</code></li>";
		}
		Out += "</ul></details>";
	}
	Out += "</section>";
}

void ProfilingSection(std::string& Out, const FJson& Report)
{
	const FJson* Profiling = FindObject(Report, "profiling");
	if (!Profiling)
	{
		return;
	}
	const FJson* Csv = FindObject(*Profiling, "csv");
	const FJson* Trace = FindObject(*Profiling, "trace");
	const bool bCsv = Csv && Bool(*Csv, "requested", false);
	const bool bTrace = Trace && Bool(*Trace, "requested", false);
	if (!bCsv && !bTrace)
	{
		return;
	}
	Out += "<section class=\"profiling\"><h3>Profiling</h3><table class=\"facts-table\"><tbody>";
	if (bCsv)
	{
		Row(Out, "csv", Esc(String(*Csv, "status") + " " + String(*Csv, "csv_path")));
	}
	if (bTrace)
	{
		Row(Out, "trace", Esc(String(*Trace, "status") + " " + String(*Trace, "trace_path")));
	}
	Out += "</tbody></table></section>";
}

void SpecSource(std::string& Out, const FSmokeSpecResult& Result)
{
	if (Result.Spec.empty())
	{
		return;
	}
	Out += "<details class=\"spec-source\"><summary>Spec";
	if (!Result.SpecPath.empty())
	{
		Out += " <code>" + Esc(Result.SpecPath) + "</code>";
	}
	Out += "</summary><pre>";
	Out += Esc(JsonText(Result.Spec, 2));
	Out += "</pre></details>";
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
