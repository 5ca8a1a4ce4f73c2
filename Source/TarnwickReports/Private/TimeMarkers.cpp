#include "HtmlParts.h"

#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>
#include <cctype>

namespace Tarnwick::Reports::Html
{
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
		// Negative times fire at the start, as the session raises them to 0.
		const double At = std::max(0.0, Number(Event, "at_seconds", Number(SpecEvent, "at_seconds", 0.0)));
		FTimeMarker Marker;
		Marker.Kind = EMarkerKind::Input;
		Marker.T = bFired ? Number(Event, "fired_at_seconds", At) : At;
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
}
