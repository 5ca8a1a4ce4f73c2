#include "HtmlParts.h"

#include "HtmlSession.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

namespace Tarnwick::Reports::Html
{
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
}
