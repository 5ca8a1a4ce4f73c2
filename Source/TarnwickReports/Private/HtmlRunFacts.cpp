#include "HtmlParts.h"

#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>

namespace Tarnwick::Reports::Html
{
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
}
