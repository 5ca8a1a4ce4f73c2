#include "HtmlParts.h"

#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

namespace Tarnwick::Reports::Html
{
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
}
