#include "HtmlReport.h"
#include "ReportFixtures.h"
#include "SyntheticSession.h"

#include <gtest/gtest.h>

#include <regex>

namespace Tarnwick::Reports
{
namespace
{
using ReportFixtures::FixtureDir;
using ReportFixtures::LoadFixture;

size_t Count(const std::string& Text, const std::string& Needle)
{
	size_t N = 0;
	for (size_t At = Text.find(Needle); At != std::string::npos; At = Text.find(Needle, At + Needle.size()))
	{
		++N;
	}
	return N;
}

/** The <figure> of variable Name. */
std::string Figure(const std::string& Html, const std::string& Name)
{
	const size_t At = Html.find("data-var=\"" + Name + "\"");
	if (At == std::string::npos)
	{
		return std::string();
	}
	const size_t Start = Html.rfind("<figure", At);
	return Html.substr(Start, Html.find("</figure>", At) - Start);
}

/** Every "x,y" pair of every polyline in Svg. */
size_t PolylinePoints(const std::string& Svg)
{
	size_t Points = 0;
	const std::regex Polyline(R"re(<polyline class="line" points="([^"]*)")re");
	for (auto It = std::sregex_iterator(Svg.begin(), Svg.end(), Polyline); It != std::sregex_iterator(); ++It)
	{
		const std::string List = (*It)[1];
		Points += static_cast<size_t>(std::count(List.begin(), List.end(), ',')) ;
	}
	return Points;
}

/** The page must not ask for anything outside itself. */
void ExpectSelfContained(const std::string& Html)
{
	EXPECT_NE(Html.find("content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'\""), std::string::npos);
	EXPECT_EQ(Html.find("http://"), std::string::npos);
	EXPECT_EQ(Html.find("https://"), std::string::npos);
	EXPECT_EQ(Html.find("<script"), std::string::npos);
	EXPECT_EQ(Html.find("<link"), std::string::npos);
	EXPECT_EQ(Html.find("@import"), std::string::npos);
	EXPECT_EQ(Html.find("url("), std::string::npos);
	const std::regex Src(R"re(src="([^"]*)")re");
	for (auto It = std::sregex_iterator(Html.begin(), Html.end(), Src); It != std::sregex_iterator(); ++It)
	{
		EXPECT_EQ((*It)[1].str().rfind("data:image/png;base64,", 0), 0u);
	}
}
}

TEST(HtmlReport, FailingSessionShowsVerdictsExpectationsAndOnePlotPerVariable)
{
	const std::string Html = WriteSessionHtml(LoadFixture(FixtureDir(), "arena_ai_chase"));
	ExpectSelfContained(Html);
	EXPECT_NE(Html.find("<header class=\"banner fail\"><div class=\"verdict-badge\">FAIL</div>"), std::string::npos);
	EXPECT_NE(Html.find("<li class=\"chip fail\" data-verdict=\"expectations_ok\">expectations <b>✗</b></li>"), std::string::npos);
	EXPECT_NE(Html.find("<li class=\"chip pass\" data-verdict=\"log_ok\">log <b>✓</b></li>"), std::string::npos);
	EXPECT_EQ(Count(Html, "<figure class=\"plot "), 5u);
	EXPECT_EQ(Count(Html, "<tr class=\"expectation "), 6u);
	EXPECT_EQ(Count(Html, "<tr class=\"expectation fail\""), 1u);
	EXPECT_EQ(Count(Html, "<tr class=\"expectation warn\""), 1u);
	// Margin and decision time of the failed expectation, in the agent's units.
	EXPECT_NE(Html.find("<td class=\"num margin\">-151</td><td class=\"num decided\">t=6.00s</td>"), std::string::npos);
	// Each kind gets its own drawing.
	EXPECT_NE(Figure(Html, "ChaserDistance").find("line-plot"), std::string::npos);
	EXPECT_NE(Figure(Html, "ChaserHasTarget").find("bool-plot"), std::string::npos);
	EXPECT_NE(Figure(Html, "ChaserMoveStatus").find("state-plot"), std::string::npos);
	EXPECT_NE(Figure(Html, "ChaserVelocity").find("<details class=\"components\">"), std::string::npos);
}

TEST(HtmlReport, TheNeverReachedThresholdIsDrawnWithItsClosestApproach)
{
	const std::string Html = WriteSessionHtml(LoadFixture(FixtureDir(), "arena_ai_chase"));
	const std::string Distance = Figure(Html, "ChaserDistance");
	ASSERT_FALSE(Distance.empty());
	EXPECT_NE(Distance.find("<g class=\"threshold fail\" data-expectation=\"chaser_reaches_player\">"), std::string::npos);
	EXPECT_NE(Distance.find("<rect class=\"window\" data-expectation=\"chaser_reaches_player\""), std::string::npos);
	// The chaser's nearest read inside the window is where the miss is marked.
	const FJson Report = LoadFixture(FixtureDir(), "arena_ai_chase").Report;
	double Nearest = 1e9;
	double NearestT = -1.0;
	for (const FJson& Row : Report["samples"])
	{
		const double D = Row["values"]["ChaserDistance"].get<double>();
		if (Row["t"].get<double>() >= 1.0 && D < Nearest)
		{
			Nearest = D;
			NearestT = Row["t"].get<double>();
		}
	}
	ASSERT_EQ(Nearest, 301.0);
	const std::regex Mark(R"re(<g class="violation fail" data-expectation="chaser_reaches_player" data-t="([0-9.]+)"><title>chaser_reaches_player failed: closest approach 301 at t=([0-9.]+)s</title>)re");
	std::smatch Match;
	ASSERT_TRUE(std::regex_search(Distance, Match, Mark)) << Distance.substr(0, 2000);
	EXPECT_DOUBLE_EQ(std::stod(Match[1]), NearestT);
	// The marker's circle sits on the line at the threshold's side of the data, below the 150 line on screen.
	EXPECT_NE(Distance.find("<circle cx="), std::string::npos);
}

TEST(HtmlReport, AViolatingSampleIsMarkedWhereItWas)
{
	const std::string Velocity = Figure(WriteSessionHtml(LoadFixture(FixtureDir(), "arena_ai_chase")), "ChaserVelocity");
	EXPECT_NE(Velocity.find("<g class=\"violation warn\" data-expectation=\"chaser_never_stalls\" data-t=\"3.2\"><title>chaser_never_stalls warned: "
							"violated at t=3.20s by 0</title>"),
		std::string::npos)
		<< Velocity.substr(0, 1500);
	// Both thresholds on the length are drawn on the main plot, not on the components.
	EXPECT_EQ(Count(Velocity, "<g class=\"threshold "), 2u);
	EXPECT_LT(Velocity.find("class=\"threshold pass\" data-expectation=\"chaser_moves\""), Velocity.find("<details"));
}

TEST(HtmlReport, MarkersForInputEventsStagesAndProbes)
{
	const std::string Html = WriteSessionHtml(LoadFixture(FixtureDir(), "arena_ai_chase"));
	EXPECT_NE(Html.find("class=\"plot-svg marker-lane\""), std::string::npos);
	EXPECT_EQ(Count(Html, "<g class=\"lane-marker input\">"), 3u);
	EXPECT_EQ(Count(Html, "<g class=\"lane-marker stage\">"), 1u);
	EXPECT_EQ(Count(Html, "<g class=\"lane-marker probe\">"), 1u);
	EXPECT_NE(Html.find("<title>input_events[0]: down W, fired t=0.50s</title>"), std::string::npos);
	EXPECT_NE(Html.find(">W↓</text>"), std::string::npos);
	// Every plot repeats the five markers as lines through its area.
	const std::string Distance = Figure(Html, "ChaserDistance");
	EXPECT_EQ(Count(Distance, "<line class=\"marker "), 5u);
}

TEST(HtmlReport, ComponentsOpenWhenAnExpectationIsAboutOne)
{
	const std::string Html = WriteSessionHtml(LoadFixture(FixtureDir(), "arena_hero_walk"));
	ExpectSelfContained(Html);
	const std::string Velocity = Figure(Html, "HeroVelocity");
	const size_t Details = Velocity.find("<details class=\"components\" open>");
	ASSERT_NE(Details, std::string::npos);
	// The band of HeroVelocity.y is drawn on the components plot.
	EXPECT_GT(Velocity.find("<g class=\"band-expect pass\" data-expectation=\"heads_forward\">"), Details);
	EXPECT_NE(Figure(Html, "HeroRotation").find("<summary>Components (pitch, yaw, roll)</summary>"), std::string::npos);
	EXPECT_NE(Html.find("<div class=\"verdict-badge\">PASS</div>"), std::string::npos);
	EXPECT_EQ(Html.find("class=\"violation"), std::string::npos);
}

TEST(HtmlReport, ClipFramesAreEmbeddedWithinTheBudget)
{
	FSmokeSpecResult Result = LoadFixture(FixtureDir(), "arena_hero_walk");
	for (const FJson& Path : Result.Report["frame_paths"])
	{
		Result.ClipFrames.push_back({Path.get<std::string>(), std::string(3000, 'p')});
	}
	FHtmlOptions Options;
	const std::string All = WriteSessionHtml(Result, Options);
	EXPECT_EQ(Count(All, "<img "), 13u);
	EXPECT_NE(All.find("<figcaption>frame_000.png t=0.00s discarded</figcaption>"), std::string::npos);
	EXPECT_NE(All.find("<figcaption>frame_001.png t=0.25s valid</figcaption>"), std::string::npos);

	// capture_validity is the frame's own record and wins over the row of the pass that grabbed it.
	FSmokeSpecResult Black = Result;
	Black.Report["capture_validity"][5]["valid"] = false;
	Black.Report["capture_validity"][5]["uniform"] = true;
	EXPECT_NE(WriteSessionHtml(Black).find("<figure class=\"frame invalid\"><img alt=\"frame_005.png\""), std::string::npos);

	Options.MaxEmbeddedFrameBytes = 4 * 4200;
	const std::string Few = WriteSessionHtml(Result, Options);
	EXPECT_GE(Count(Few, "<img "), 2u);
	EXPECT_LE(Count(Few, "<img "), 4u);
	EXPECT_NE(Few.find("frame(s) not embedded</summary>"), std::string::npos);
	// Embedded frames are spread over the clip rather than the first few.
	EXPECT_NE(Few.find("alt=\"frame_000.png\""), std::string::npos);
	EXPECT_EQ(Few.find("alt=\"frame_001.png\""), std::string::npos);
}

TEST(HtmlReport, ErrorSessionShowsWhatBrokeAndTheMatchedLines)
{
	FSmokeSpecResult Result = LoadFixture(FixtureDir(), "arena_paused_stall");
	Result.MatchedLogLines = ReportFixtures::PausedStallLogLines();
	const std::string Html = WriteSessionHtml(Result);
	EXPECT_NE(Html.find("<div class=\"verdict-badge\">ERROR</div>"), std::string::npos);
	EXPECT_NE(Html.find("<p class=\"session-error\">Session clock stalled: 1.00s of 4.00s"), std::string::npos);
	EXPECT_NE(Html.find("<p class=\"note fail\">EnemyHealth unresolved: no actor matching 'Enemy'</p>"), std::string::npos);
	EXPECT_NE(Html.find("<tr class=\"fail\"><td><code>Accessed None</code></td><td class=\"num\">2</td><td class=\"num\">1</td></tr>"),
		std::string::npos);
	EXPECT_NE(Html.find("<tr class=\"fail\"><td><code>LogArena: Round started</code></td><td class=\"num\">0</td>"), std::string::npos);
	EXPECT_EQ(Count(Html, "<tr class=\"fail\"><td class=\"num\">0.4"), 2u);
	EXPECT_EQ(Count(Html, "<tr class=\"teardown\"><td class=\"num\">12.020s</td>"), 1u);
	EXPECT_NE(Html.find("<li>Game time stood still for 20 observer tick(s)"), std::string::npos);
	// One plot per variable, even for the one that never resolved.
	EXPECT_EQ(Count(Html, "<figure class=\"plot "), 3u);
	EXPECT_NE(Figure(Html, "EnemyHealth").find("No samples were recorded"), std::string::npos);
}

TEST(HtmlReport, RefusedSpecShowsTheRefusal)
{
	const std::string Html = WriteSessionHtml(LoadFixture(FixtureDir(), "arena_bad_window"));
	ExpectSelfContained(Html);
	EXPECT_NE(Html.find("<header class=\"banner refused\"><div class=\"verdict-badge\">REFUSED</div>"), std::string::npos);
	EXPECT_NE(Html.find("<p class=\"refusal-message\">2 expectation(s) can never be satisfied — refusing to start PIE.</p>"), std::string::npos);
	EXPECT_EQ(Count(Html, "<ul class=\"refusal-list\">"), 2u);
	EXPECT_EQ(Html.find("<figure"), std::string::npos);
}

TEST(HtmlReport, SuitePageLinksEverySpecToItsSection)
{
	FSmokeSuite Suite;
	Suite.Name = "Samples/Arena/Smoke";
	for (const std::string& Name : ReportFixtures::FixtureNames(FixtureDir()))
	{
		Suite.Specs.push_back(LoadFixture(FixtureDir(), Name));
	}
	const std::string Html = WriteSuiteHtml(Suite);
	ExpectSelfContained(Html);
	EXPECT_NE(Html.find("<header class=\"suite-banner refused\" data-exit-code=\"2\">"), std::string::npos);
	EXPECT_NE(Html.find("4 spec(s): 1 passed, 2 failed, 1 refused or unreadable"), std::string::npos);
	const std::regex Link(R"re(<td><a href="#([^"]+)">([^<]+)</a></td>)re");
	size_t Links = 0;
	for (auto It = std::sregex_iterator(Html.begin(), Html.end(), Link); It != std::sregex_iterator(); ++It)
	{
		++Links;
		EXPECT_NE(Html.find("id=\"" + (*It)[1].str() + "\" data-spec=\"" + (*It)[2].str() + "\""), std::string::npos) << (*It)[1];
	}
	EXPECT_EQ(Links, 4u);
	EXPECT_NE(Html.find("<td>enemy_hurt, e2</td>"), std::string::npos);
}

TEST(HtmlReport, HostileNamesAreText)
{
	FSmokeSpecResult Result;
	Result.Name = "<script>alert(1)</script>";
	Result.Spec = FJson::parse(R"re({"expect": [{"op": "eq", "var": "<img src=x>", "value": "</svg>"}]})re");
	Result.Report = FJson::parse(R"({"status": "complete", "ok": false,
		"var_summary": {"<img src=x>": {"kind": "string"}},
		"samples": [{"t": 0, "frame": 1, "values": {"<img src=x>": "</svg><script>"}}],
		"expectations": [{"id": "e0", "op": "eq", "passed": false, "spec": "<img src=x> == '</svg>'", "message": "<b>bold</b>"}]})");
	const std::string Html = WriteSessionHtml(Result);
	ExpectSelfContained(Html);
	EXPECT_EQ(Html.find("<img src=x>"), std::string::npos);
	EXPECT_EQ(Html.find("<b>bold</b>"), std::string::npos);
	EXPECT_EQ(Count(Html, "</svg>"), Count(Html, "<svg "));
}

TEST(HtmlReport, LongSessionStaysSmallAndKeepsItsViolation)
{
	const FSmokeSpecResult Result = ReportFixtures::MakeSyntheticSession();
	const std::string Html = WriteSessionHtml(Result);
	EXPECT_LT(Html.size(), 2u * 1024 * 1024);
	EXPECT_EQ(Count(Html, "<figure class=\"plot "), 20u);
	const std::string Peak = Figure(Html, "Num0");
	EXPECT_NE(Peak.find("<g class=\"violation fail\" data-expectation=\"below_1000\" data-t=\"77.7\">"), std::string::npos);
	// Downsampled to at most four points per bucket, and the one-sample peak is among them.
	EXPECT_LE(PolylinePoints(Peak), FHtmlOptions().PlotBuckets * 4u + 1);
	EXPECT_GT(PolylinePoints(Peak), 100u);
	const std::regex TopOfData(R"re(<circle cx="([0-9.]+)" cy="([0-9.]+)" r="5.5"/>)re");
	std::smatch Match;
	ASSERT_TRUE(std::regex_search(Peak, Match, TopOfData));
	const std::string Point = Match[1].str() + "," + Match[2].str();
	EXPECT_NE(Peak.find(Point + " "), std::string::npos) << "the violating sample is not on the drawn line";
	// The row-by-row flicker is one merged band, not 50,000 rectangles.
	EXPECT_LT(Count(Figure(Html, "Flag0"), "<rect class=\"band-true\""), 5u);
}
}
