#include "HtmlParts.h"

#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

namespace Tarnwick::Reports::Html
{
namespace
{
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
}
