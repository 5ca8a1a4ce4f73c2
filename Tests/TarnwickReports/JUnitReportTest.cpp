#include "JUnitReport.h"
#include "ReportFixtures.h"

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

/** The text of the <testsuite> element named Name, from its start tag to its end tag. */
std::string SuiteXml(const std::string& Xml, const std::string& Name)
{
	const size_t Start = Xml.find("<testsuite name=\"" + Name + "\"");
	if (Start == std::string::npos)
	{
		return std::string();
	}
	return Xml.substr(Start, Xml.find("</testsuite>", Start) - Start);
}

FSmokeSuite ArenaSuite()
{
	FSmokeSuite Suite;
	Suite.Name = "Samples/Arena/Smoke";
	Suite.Timestamp = "2026-11-23T14:22:07";
	for (const std::string& Name : ReportFixtures::FixtureNames(FixtureDir()))
	{
		Suite.Specs.push_back(LoadFixture(FixtureDir(), Name));
		if (Name == "arena_paused_stall")
		{
			Suite.Specs.back().MatchedLogLines = ReportFixtures::PausedStallLogLines();
		}
	}
	return Suite;
}
}

TEST(JUnitReport, OneSuitePerSpecWithCountsThatAddUp)
{
	const std::string Xml = WriteJUnitXml(ArenaSuite());
	EXPECT_EQ(Xml.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"Samples/Arena/Smoke\"", 0), 0u);
	EXPECT_EQ(Count(Xml, "<testsuite "), 4u);

	// ai_chase: six expectations plus log_ok, sample_ok, stable_ok; one error-severity failure.
	const std::string Chase = SuiteXml(Xml, "arena_ai_chase");
	EXPECT_NE(Chase.find("tests=\"9\" failures=\"1\" errors=\"0\" skipped=\"0\" time=\"6.000\" timestamp=\"2026-11-23T14:22:07\""),
		std::string::npos)
		<< Chase.substr(0, 300);
	EXPECT_EQ(Count(Chase, "<testcase "), 9u);
	EXPECT_EQ(Count(Chase, "<failure "), 1u);

	// The totals are the sums over the suites.
	std::regex Attr(R"re(<testsuite name="[^"]*" tests="(\d+)" failures="(\d+)" errors="(\d+)")re");
	size_t Tests = 0;
	size_t Failures = 0;
	size_t Errors = 0;
	for (auto It = std::sregex_iterator(Xml.begin(), Xml.end(), Attr); It != std::sregex_iterator(); ++It)
	{
		Tests += std::stoul((*It)[1]);
		Failures += std::stoul((*It)[2]);
		Errors += std::stoul((*It)[3]);
	}
	EXPECT_NE(Xml.find("tests=\"" + std::to_string(Tests) + "\" failures=\"" + std::to_string(Failures) + "\" errors=\"" +
					   std::to_string(Errors) + "\""),
		std::string::npos);
	EXPECT_EQ(Count(Xml, "<failure "), Failures);
	EXPECT_EQ(Count(Xml, "<error "), Errors);
}

TEST(JUnitReport, AFailureCarriesTheSentenceItsContextAndTheSessionTime)
{
	const std::string Chase = SuiteXml(WriteJUnitXml(ArenaSuite()), "arena_ai_chase");
	const size_t Case = Chase.find("<testcase name=\"chaser_reaches_player: ChaserDistance &lt; 150\" classname=\"arena_ai_chase\" time=\"6.000\">");
	ASSERT_NE(Case, std::string::npos) << Chase;
	const std::string Failure = Chase.substr(Case, Chase.find("</testcase>", Case) - Case);
	EXPECT_NE(Failure.find("<failure message=\"Expected 'ChaserDistance &lt; 150' at least ONCE in window [1.00s, end], but it never held"),
		std::string::npos);
	EXPECT_NE(Failure.find("type=\"never_satisfied\""), std::string::npos);
	EXPECT_NE(Failure.find("Context: 61 samples, min 301.000"), std::string::npos);
	EXPECT_NE(Failure.find("margin: -151"), std::string::npos);
	EXPECT_NE(Failure.find("decided at: t=6.000s"), std::string::npos);
	EXPECT_NE(Failure.find("window: [1.00s, end]"), std::string::npos);
	EXPECT_NE(Failure.find("describe: The chaser closes to melee range of the player."), std::string::npos);
	// A passing expectation's time is when it was decided.
	EXPECT_NE(Chase.find("<testcase name=\"chaser_acquires_target: ChaserHasTarget becomes true within 1s\" classname=\"arena_ai_chase\" time=\"0.400\"/>"),
		std::string::npos);
}

TEST(JUnitReport, AWarnFailurePassesAndSaysSo)
{
	const std::string Chase = SuiteXml(WriteJUnitXml(ArenaSuite()), "arena_ai_chase");
	const size_t Case = Chase.find("<testcase name=\"chaser_never_stalls");
	ASSERT_NE(Case, std::string::npos);
	const std::string Text = Chase.substr(Case, Chase.find("</testcase>", Case) - Case);
	EXPECT_EQ(Text.find("<failure"), std::string::npos);
	EXPECT_NE(Text.find("<system-out>warning (severity warn, does not fail the session)"), std::string::npos);
	EXPECT_NE(Text.find("first violation: sample #192, actual 0"), std::string::npos);
}

TEST(JUnitReport, AnErrorSessionFailsOnEveryVerdictItBroke)
{
	const std::string Stall = SuiteXml(WriteJUnitXml(ArenaSuite()), "arena_paused_stall");
	// The session case comes first: an error status is an error whatever the other verdicts say.
	EXPECT_NE(Stall.find("<testcase name=\"session\" classname=\"arena_paused_stall\" time=\"1.000\">\n      <error message=\"session status error: "
						 "Session clock stalled: 1.00s of 4.00s game seconds"),
		std::string::npos)
		<< Stall;
	EXPECT_NE(Stall.find("tests=\"7\" failures=\"5\" errors=\"1\""), std::string::npos);
	EXPECT_NE(Stall.find("<failure message=\"log_ok is false: 2 must_absent match(es) in active runtime ('Accessed None' x2); missing must_present 'LogArena: Round started'\" type=\"log\">"),
		std::string::npos);
	// The matched lines the runner found go with the log failure, teardown ones included.
	EXPECT_NE(Stall.find("t=0.412s [active_runtime] LogScript: warning: Script Msg: Accessed None trying to read property EnemyRef"), std::string::npos);
	EXPECT_NE(Stall.find("t=12.020s [teardown]"), std::string::npos);
	EXPECT_NE(Stall.find("<failure message=\"sample_ok is false: required sample(s) never resolved: EnemyHealth\" type=\"sampling\">"),
		std::string::npos);
	EXPECT_NE(Stall.find("EnemyHealth (gas, root actor:Enemy): unresolved: no actor matching 'Enemy'"), std::string::npos);
	EXPECT_NE(Stall.find("<failure message=\"stable_ok is false: require_stable is on and the run was not stable: The wall-clock watchdog ended this session"),
		std::string::npos);
}

TEST(JUnitReport, ARefusedSpecIsOneErrorCaseWithTheRefusal)
{
	const std::string Refused = SuiteXml(WriteJUnitXml(ArenaSuite()), "arena_bad_window");
	EXPECT_NE(Refused.find("tests=\"1\" failures=\"0\" errors=\"1\" skipped=\"0\" time=\"0.000\""), std::string::npos);
	EXPECT_NE(Refused.find("<property name=\"outcome\" value=\"refused\"/>"), std::string::npos);
	EXPECT_NE(Refused.find("<testcase name=\"run_pie_smoke\" classname=\"arena_bad_window\" time=\"0.000\">\n      <error message=\"2 "
						   "expectation(s) can never be satisfied — refusing to start PIE.\" type=\"refused\">"),
		std::string::npos)
		<< Refused;
	EXPECT_NE(Refused.find("code: -32603"), std::string::npos);
	EXPECT_NE(Refused.find("expect[late] references unknown var 'bShouldMove'"), std::string::npos);
}

TEST(JUnitReport, HostileTextStaysInsideItsElement)
{
	FSmokeSuite Suite;
	FSmokeSpecResult& Result = Suite.Specs.emplace_back();
	Result.Name = "evil\"<spec>&";
	Result.Outcome = ESmokeOutcome::Unreadable;
	Result.ErrorMessage = std::string("bad ]]> </error><testcase name=\"x\"/> \x01\xff");
	const std::string Xml = WriteJUnitXml(Suite);
	EXPECT_EQ(Count(Xml, "<testcase "), 1u);
	EXPECT_EQ(Count(Xml, "</error>"), 1u);
	EXPECT_NE(Xml.find("<testsuite name=\"evil&quot;&lt;spec&gt;&amp;\""), std::string::npos);
	EXPECT_NE(Xml.find("type=\"unreadable\""), std::string::npos);
	EXPECT_EQ(Xml.find('\x01'), std::string::npos);
	EXPECT_EQ(Xml.find('\xff'), std::string::npos);
}

TEST(JUnitReport, ExitCodesFollowTheWorstOutcome)
{
	FSmokeSuite Suite;
	EXPECT_EQ(SuiteExitCode(Suite), 0);
	FSmokeSpecResult Ok;
	Ok.Report = {{"ok", true}};
	Suite.Specs.push_back(Ok);
	EXPECT_EQ(SuiteExitCode(Suite), 0);
	FSmokeSpecResult NotOk;
	NotOk.Report = {{"ok", false}};
	Suite.Specs.push_back(NotOk);
	EXPECT_EQ(SuiteExitCode(Suite), 1);
	FSmokeSpecResult NoVerdict;
	Suite.Specs.front() = NoVerdict;
	EXPECT_EQ(SuiteExitCode(Suite), 1);
	FSmokeSpecResult Refused;
	Refused.Outcome = ESmokeOutcome::Refused;
	Suite.Specs.insert(Suite.Specs.begin(), Refused);
	EXPECT_EQ(SuiteExitCode(Suite), 2);
}

TEST(JUnitReport, AnUnevaluatedExpectationIsAnErrorNotAPass)
{
	FSmokeSuite Suite;
	FSmokeSpecResult& Result = Suite.Specs.emplace_back();
	Result.Name = "stopped_early";
	Result.Spec = FJson::parse(R"re({"expect": [{"op": "gt", "var": "Speed", "value": 1}]})re");
	Result.Report = FJson::parse(R"re({"status": "stopped", "pie_ready": true, "log_ok": true, "sample_ok": true, "stable_ok": true, "ok": false})re");
	const std::string Xml = WriteJUnitXml(Suite);
	EXPECT_NE(Xml.find("<error message=\"session status stopped\" type=\"status_stopped\">"), std::string::npos);
	EXPECT_NE(Xml.find("<testcase name=\"e0: Speed gt 1\" classname=\"stopped_early\" time=\"0.000\">\n      <error message=\"not evaluated"),
		std::string::npos)
		<< Xml;
}
}
