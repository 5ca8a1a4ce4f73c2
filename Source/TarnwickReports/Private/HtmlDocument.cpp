// The page around the sections: the style sheet, the suite table, and the two public entry points.
#include "HtmlReport.h"

#include "HtmlSession.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>

namespace Tarnwick::Reports
{
namespace
{
// Everything the page needs is inline; the policy makes the browser refuse anything else, so a page that
// would reach the network fails loudly in the browser tests instead of quietly in a CI artifact viewer.
constexpr const char* Head = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; img-src data:; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)";

constexpr const char* Style = R"(<style>
:root{--pass:#1a7f37;--pass-bg:#dafbe1;--fail:#cf222e;--fail-bg:#ffebe9;--warn:#9a6700;--warn-bg:#fff8c5;
--refused:#8250df;--refused-bg:#fbefff;--muted:#57606a;--line:#d0d7de;--grid:#eaeef2;--accent:#0969da}
*{box-sizing:border-box}
body{margin:0;background:#f6f8fa;color:#1f2328;font:14px/1.45 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif}
main{max-width:1080px;margin:0 auto;padding:16px}
h1{font-size:22px;margin:4px 0 12px}h2{font-size:19px;margin:0}h3{font-size:16px;margin:18px 0 8px}h4{font-size:14px;margin:12px 0 4px}
code,pre{font:12px/1.4 ui-monospace,SFMono-Regular,Menlo,Consolas,monospace}
pre{background:#f6f8fa;border:1px solid var(--line);padding:8px;overflow:auto;max-height:420px}
a{color:var(--accent)}
.spec{background:#fff;border:1px solid var(--line);border-radius:8px;padding:0 16px 16px;margin:0 0 24px}
.banner{display:flex;gap:16px;align-items:center;margin:0 -16px;padding:12px 16px;border-radius:8px 8px 0 0;border-bottom:1px solid var(--line)}
.banner.pass{background:var(--pass-bg)}.banner.fail{background:var(--fail-bg)}.banner.refused{background:var(--refused-bg)}
.verdict-badge{font-weight:700;font-size:20px;letter-spacing:.04em;padding:6px 14px;border-radius:6px;color:#fff;min-width:92px;text-align:center}
.pass .verdict-badge{background:var(--pass)}.fail .verdict-badge{background:var(--fail)}.refused .verdict-badge{background:var(--refused)}
.banner-text{flex:1;min-width:0}.meta{margin:2px 0 0;color:var(--muted);font-size:13px}
.session-error{margin:6px 0 0;color:var(--fail);font-weight:600}
.verdicts{list-style:none;display:flex;flex-wrap:wrap;gap:6px;margin:0;padding:0;max-width:360px;justify-content:flex-end}
.chip{display:inline-block;border-radius:999px;padding:1px 9px;font-size:12px;font-weight:600;border:1px solid transparent;text-decoration:none;white-space:nowrap}
.chip.pass{background:var(--pass-bg);color:var(--pass);border-color:#aceebb}
.chip.fail{background:var(--fail);color:#fff}
.chip.warn{background:var(--warn-bg);color:var(--warn);border-color:#eac54f}
.chip.pending,.chip.unknown{background:#eaeef2;color:var(--muted)}
table{border-collapse:collapse;width:100%;font-size:13px}
th,td{text-align:left;padding:4px 8px;border-bottom:1px solid var(--grid);vertical-align:top}
td.message,td.sentence{overflow-wrap:anywhere}
thead th{color:var(--muted);font-weight:600;border-bottom:1px solid var(--line)}
td.num{text-align:right;white-space:nowrap;font-variant-numeric:tabular-nums}
tr.fail td{background:#fff5f5}tr.warn td{background:#fffbea}
tr.fail td:first-child{box-shadow:inset 3px 0 var(--fail)}tr.warn td:first-child{box-shadow:inset 3px 0 #d4a72c}
tr.group th{background:#f6f8fa;font-family:ui-monospace,monospace;font-size:12px}
.message{color:#1f2328;font-size:12.5px}tr.pass .message{color:var(--muted)}
.sentence{font-weight:600}.describe{font-weight:400;color:var(--muted)}
.to-plot{font-weight:400;font-size:12px;margin-left:4px}
.small{color:var(--muted);font-size:12.5px;margin:4px 0}
.note{background:#f6f8fa;border-left:3px solid var(--line);padding:4px 8px;margin:6px 0;font-size:12.5px}
.note.fail{border-left-color:var(--fail);background:#fff5f5}
.facts-table{width:auto;min-width:420px}.facts-table th{color:var(--muted);font-weight:500;width:160px}
.notes li{margin:2px 0}
.fail-list li{color:var(--fail)}.warn-list li{color:var(--warn)}
.plot{margin:0 0 14px;padding:6px 8px 4px;border:1px solid var(--grid);border-radius:6px}
.plot figcaption{font-size:13px;margin-bottom:2px}
.plot .kind{color:var(--muted);font-size:12px}.plot .facts{color:var(--muted);font-size:12px;margin-left:8px}
.plot-svg{display:block;width:100%;height:auto;overflow:visible}
.plot-svg text{font:10px system-ui,sans-serif;fill:var(--muted)}
.grid line{stroke:var(--grid);stroke-width:1}
.tick.t{text-anchor:middle}.tick.v{text-anchor:end}
.line{fill:none;stroke:var(--accent);stroke-width:1.6;stroke-linejoin:round}
.dot.line{fill:var(--accent);stroke:none}
.comp-x{stroke:#cf222e}.comp-y{stroke:#1a7f37}.comp-z{stroke:#8250df}
.dot.comp-x{fill:#cf222e}.dot.comp-y{fill:#1a7f37}.dot.comp-z{fill:#8250df}
.window{fill:var(--accent);fill-opacity:.07}
.window.over{fill-opacity:.14;stroke:var(--accent);stroke-opacity:.7;stroke-dasharray:5 3}
.threshold line{stroke-width:1.6;stroke-dasharray:7 4}
.threshold text,.band-expect text{text-anchor:end;font-weight:600}
.threshold.pass line{stroke:var(--pass)}.threshold.pass text{fill:var(--pass)}
.threshold.fail line{stroke:var(--fail)}.threshold.fail text{fill:var(--fail)}
.threshold.warn line{stroke:#bf8700}.threshold.warn text{fill:#bf8700}
.threshold.pending line{stroke:var(--muted)}
.band-expect rect{fill-opacity:.13}.band-expect.pass rect{fill:var(--pass)}.band-expect.fail rect{fill:var(--fail)}
.band-expect.warn rect{fill:#bf8700}.band-expect.pending rect{fill:var(--muted)}
.band-expect.pass text{fill:var(--pass)}.band-expect.fail text{fill:var(--fail)}
.deadline line{stroke:#1f2328;stroke-width:1.2;stroke-dasharray:2 3}.deadline text{fill:#1f2328}
.marker{stroke-width:1.2;stroke-opacity:.6}
.marker.input,.lane-marker.input line{stroke:#8250df}.marker.stage,.lane-marker.stage line{stroke:#bf8700}
.marker.probe,.lane-marker.probe line{stroke:#1b7c83}.marker.failed,.lane-marker.failed line{stroke:var(--fail)}
.lane-marker text{font-weight:600}.lane-marker.input text{fill:#8250df}.lane-marker.stage text{fill:#9a6700}
.lane-marker.probe text{fill:#1b7c83}.lane-marker.failed text{fill:var(--fail)}
.violation line{stroke:var(--fail);stroke-width:1.4;stroke-dasharray:3 2}
.violation circle{fill:var(--fail);stroke:#fff;stroke-width:2}.violation path{fill:var(--fail)}
.plot-svg .violation-label{fill:var(--fail);font-weight:700}.plot-svg .violation.warn .violation-label{fill:#9a6700}
.violation.warn line{stroke:#bf8700}.violation.warn circle,.violation.warn path{fill:#bf8700}
.coverage{fill:var(--grid)}.band-true{fill:#2da44e}
.state{stroke:#fff;stroke-width:.5}.state.mixed{fill:#8c959f}
.plot-svg .state-label{fill:#1f2328}
.legend{font-size:12px;color:var(--muted);margin:2px 0}
.swatch{display:inline-block;width:10px;height:10px;border-radius:2px;margin:0 4px 0 8px;vertical-align:-1px;background:var(--muted)}
.swatch.input{background:#8250df}.swatch.stage{background:#bf8700}.swatch.probe{background:#1b7c83}
.swatch.comp-x{background:#cf222e}.swatch.comp-y{background:#1a7f37}.swatch.comp-z{background:#8250df}
details.components summary,details.spec-source summary,details.frame-list summary{cursor:pointer;color:var(--accent);font-size:12.5px}
.lane{margin-bottom:6px}
.frame-strip{display:flex;flex-wrap:wrap;gap:8px}
.frame{margin:0;width:168px}.frame img{width:168px;height:auto;display:block;border:2px solid var(--line);border-radius:4px}
.frame.invalid img{border-color:var(--fail)}.frame.discarded img{opacity:.55;border-style:dashed}.frame figcaption{font-size:11px;color:var(--muted)}
.refusal-message{font-weight:600;color:var(--refused);font-size:15px}
.suite-banner{display:flex;align-items:center;gap:16px;margin-bottom:12px}
.suite-table{background:#fff;border:1px solid var(--line);border-radius:8px;margin-bottom:24px}
.suite-table td:first-child a{font-weight:600}
</style>
</head><body><main>)";

constexpr const char* Tail = "</main></body></html>\n";

void Open(std::string& Out, const std::string& Title)
{
	Out += Head;
	Out += EscapeText(Title);
	Out += "</title>";
	Out += Style;
}

size_t EstimateSize(const FSmokeSpecResult& Result)
{
	const FJson* Rows = FindArray(Result.Report, "samples");
	const FJson* Summary = FindObject(Result.Report, "var_summary");
	const size_t Vars = Summary ? Summary->size() : 4;
	return 24 * 1024 + (Rows && Rows->size() > 1000 ? Vars * 40 * 1024 : Vars * 8 * 1024);
}

void VerdictCell(std::string& Out, const FJson& Report, const char* Key)
{
	const std::optional<bool> Value = OptBool(Report, Key);
	Out += Printf("<td><span class=\"chip %s\">%s</span></td>", !Value ? "unknown" : *Value ? "pass" : "fail", !Value ? "–" : *Value ? "✓" : "✗");
}

void SuiteTable(std::string& Out, const FSmokeSuite& Suite)
{
	size_t Passed = 0;
	size_t Failed = 0;
	size_t Refused = 0;
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		if (Result.Outcome != ESmokeOutcome::Ran)
		{
			++Refused;
		}
		else if (IsSessionOk(Result))
		{
			++Passed;
		}
		else
		{
			++Failed;
		}
	}
	const int Code = SuiteExitCode(Suite);
	const char* Class = Code == 0 ? "pass" : Code == 1 ? "fail" : "refused";
	Out += Printf("<header class=\"suite-banner %s\" data-exit-code=\"%d\"><div class=\"verdict-badge\">%s</div><div><h1>", Class, Code,
		Code == 0 ? "PASS" : Code == 1 ? "FAIL" : "ERROR");
	Out += EscapeText(Suite.Name);
	Out += Printf("</h1><p class=\"meta\">%zu spec(s): %zu passed, %zu failed, %zu refused or unreadable", Suite.Specs.size(), Passed, Failed, Refused);
	if (!Suite.Timestamp.empty())
	{
		Out += " · started " + EscapeText(Suite.Timestamp);
	}
	Out += "</p></div></header>";
	Out += "<table class=\"suite-table\"><thead><tr><th>spec</th><th>verdict</th><th>ok</th><th>log</th><th>samples</th><th>expectations</th>"
		   "<th>stable</th><th>failed expectations</th><th>session</th><th>frames</th></tr></thead><tbody>";
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		const FJson& Report = Result.Report;
		Out += Printf("<tr class=\"%s\" data-spec=\"", std::string(VerdictClass(Result)) == "pass" ? "" : "fail");
		Out += EscapeAttribute(Result.Name);
		Out += Printf("\"><td><a href=\"#%s\">", SpecAnchor(Result).c_str());
		Out += EscapeText(Result.Name);
		Out += Printf("</a></td><td><span class=\"chip %s\">%s</span></td>", VerdictClass(Result) == std::string("pass") ? "pass" : "fail",
			EscapeText(VerdictWord(Result)).c_str());
		if (Result.Outcome != ESmokeOutcome::Ran)
		{
			Out += "<td colspan=\"8\" class=\"message\">";
			Out += EscapeText(Result.ErrorMessage);
			Out += "</td></tr>";
			continue;
		}
		for (const char* Key : {"ok", "log_ok", "sample_ok", "expectations_ok", "stable_ok"})
		{
			VerdictCell(Out, Report, Key);
		}
		std::string FailedIds;
		if (const FJson* Ids = FindArray(Report, "expectations_failed"))
		{
			for (const FJson& Id : *Ids)
			{
				FailedIds += (FailedIds.empty() ? "" : ", ") + DisplayValue(Id);
			}
		}
		Out += "<td>" + EscapeText(FailedIds) + "</td>";
		const FJson* D = FindObject(Report, "determinism");
		Out += Printf("<td class=\"num\">%.2fs</td><td class=\"num\">%.0f</td></tr>",
			D ? Number(*D, "session_seconds", Number(Report, "elapsed_seconds", 0.0)) : Number(Report, "elapsed_seconds", 0.0),
			D ? Number(*D, "frames", 0.0) : 0.0);
	}
	Out += "</tbody></table>";
}
}

std::string WriteSessionHtml(const FSmokeSpecResult& Result, const FHtmlOptions& Options)
{
	std::string Out;
	Out.reserve(EstimateSize(Result));
	Open(Out, Result.Name + " — " + VerdictWord(Result));
	size_t Budget = Options.MaxEmbeddedFrameBytes;
	AppendSpecSection(Out, Result, Options, Budget);
	Out += Tail;
	return Out;
}

std::string WriteSuiteHtml(const FSmokeSuite& Suite, const FHtmlOptions& Options)
{
	std::string Out;
	size_t Reserve = 32 * 1024;
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		Reserve += EstimateSize(Result);
	}
	Out.reserve(Reserve);
	Open(Out, Suite.Name);
	SuiteTable(Out, Suite);
	size_t Budget = Options.MaxEmbeddedFrameBytes;
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		AppendSpecSection(Out, Result, Options, Budget);
	}
	Out += Tail;
	return Out;
}
}
