#include "JUnitReport.h"

#include "ExpectationView.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <string>
#include <vector>

namespace Tarnwick::Reports
{
namespace
{
enum class ECaseResult
{
	Passed,
	Failure,
	Error,
};

struct FCase
{
	std::string Name;
	double Time = 0.0;
	ECaseResult Result = ECaseResult::Passed;
	/** The one-line message attribute and the type attribute of the failure or error. */
	std::string Message;
	std::string Type;
	/** The failure's body: the sentence, its context and the figures behind it. */
	std::string Detail;
	/** Text shown with a passing case (a warn-severity failure). */
	std::string Output;
};

std::string Seconds(double Value)
{
	return Printf("%.3f", Value > 0.0 ? Value : 0.0);
}

double SessionSeconds(const FJson& Report)
{
	if (const FJson* D = FindObject(Report, "determinism"))
	{
		if (const std::optional<double> S = OptNumber(*D, "session_seconds"))
		{
			return *S;
		}
	}
	return Number(Report, "elapsed_seconds", 0.0);
}

std::string ExpectationDetail(const FExpectationView& View)
{
	std::string Text = View.Message + "\n\n";
	Text += Printf("id: %s\nop: %s\n", View.Id.c_str(), View.Op.c_str());
	if (!View.When.empty())
	{
		Text += "when: " + View.When + "\n";
	}
	Text += "severity: " + View.Severity + "\n";
	Text += "expectation: " + View.Sentence + "\n";
	if (!View.Describe.empty())
	{
		Text += "describe: " + View.Describe + "\n";
	}
	if (!View.Reason.empty())
	{
		Text += "reason: " + View.Reason + "\n";
	}
	if (View.WindowFrom || View.WindowTo)
	{
		Text += View.WindowTo ? Printf("window: [%.2fs, %.2fs]\n", View.WindowFrom.value_or(0.0), *View.WindowTo)
							  : Printf("window: [%.2fs, end]\n", View.WindowFrom.value_or(0.0));
	}
	Text += View.Margin ? Printf("margin: %+g\n", *View.Margin) : std::string("margin: none\n");
	if (View.DecidedAt)
	{
		Text += Printf("decided at: t=%.3fs\n", *View.DecidedAt);
	}
	if (View.bHasViolation)
	{
		Text += Printf("first violation: sample #%.0f, actual %s\n", View.ViolationSampleIndex, DisplayValue(View.ViolationActual).c_str());
	}
	if (!View.Observed.is_null())
	{
		Text += "observed: " + JsonText(View.Observed) + "\n";
	}
	return Text;
}

void AddExpectationCases(std::vector<FCase>& Cases, const FSmokeSpecResult& Result, double SessionTime)
{
	for (const FExpectationView& View : BuildExpectationViews(Result.Report, Result.Spec))
	{
		FCase Case;
		Case.Name = View.Id + ": " + (View.Sentence.empty() ? View.Op : View.Sentence);
		Case.Time = View.DecidedAt.value_or(SessionTime);
		switch (View.Verdict)
		{
		case EVerdict::Pass:
			break;
		case EVerdict::Warn:
			Case.Output = "warning (severity warn, does not fail the session): " + ExpectationDetail(View);
			break;
		case EVerdict::Fail:
			Case.Result = ECaseResult::Failure;
			Case.Message = View.Message;
			Case.Type = View.Reason.empty() ? "expectation_failed" : View.Reason;
			Case.Detail = ExpectationDetail(View);
			break;
		case EVerdict::Pending:
			// A session that never reached evaluation leaves its expectations undecided; that is not a pass.
			Case.Result = ECaseResult::Error;
			Case.Message = "not evaluated: the session ended before its expectations were evaluated";
			Case.Type = "not_evaluated";
			Case.Detail = Case.Message + "\nid: " + View.Id + "\nop: " + View.Op + "\n";
			break;
		}
		Cases.push_back(std::move(Case));
	}
}

FCase LogCase(const FSmokeSpecResult& Result, double SessionTime)
{
	const FJson& Report = Result.Report;
	FCase Case;
	Case.Name = "log_ok";
	Case.Time = SessionTime;
	if (Bool(Report, "log_ok", false))
	{
		return Case;
	}
	Case.Result = ECaseResult::Failure;
	Case.Type = "log";
	const FJson* Grouped = FindObject(Report, "grouped_counts");
	const FJson* Active = Grouped ? FindObject(*Grouped, "active_runtime") : nullptr;
	const FJson* Teardown = Grouped ? FindObject(*Grouped, "teardown") : nullptr;
	const FJson* ActiveAbsent = Active ? FindObject(*Active, "must_absent") : nullptr;
	const FJson* TeardownAbsent = Teardown ? FindObject(*Teardown, "must_absent") : nullptr;
	const bool bTeardownAllowed = Teardown ? Bool(*Teardown, "allowed", true) : true;
	std::vector<std::string> Parts;
	std::string Detail;
	// The message names the patterns: it is often all a CI page shows of a failure.
	const auto Matches = [&](const FJson* Counts, const char* Bucket, std::string& Names) {
		double Total = 0.0;
		if (!Counts)
		{
			return Total;
		}
		for (const auto& [Pattern, Count] : Counts->items())
		{
			const double N = Count.is_number() ? Count.get<double>() : 0.0;
			if (N > 0)
			{
				Detail += Printf("must_absent '%s' matched %.0f line(s) in %s\n", Pattern.c_str(), N, Bucket);
				Names += Printf("%s'%s' x%.0f", Names.empty() ? "" : ", ", Pattern.c_str(), N);
				Total += N;
			}
		}
		return Total;
	};
	std::string ActiveNames;
	if (const double N = Matches(ActiveAbsent, "active runtime", ActiveNames); N > 0)
	{
		Parts.push_back(Printf("%.0f must_absent match(es) in active runtime (%s)", N, ActiveNames.c_str()));
	}
	std::string TeardownNames;
	const double TeardownN = Matches(TeardownAbsent, "teardown", TeardownNames);
	if (!bTeardownAllowed && TeardownN > 0)
	{
		Parts.push_back(Printf("%.0f must_absent match(es) in teardown (%s; teardown_allowed is false)", TeardownN, TeardownNames.c_str()));
	}
	if (const FJson* Missing = FindArray(Report, "missing_must_present"); Missing && !Missing->empty())
	{
		std::string Names;
		for (const FJson& Pattern : *Missing)
		{
			Names += (Names.empty() ? "'" : ", '") + DisplayValue(Pattern) + "'";
			Detail += "must_present '" + DisplayValue(Pattern) + "' never matched in active runtime\n";
		}
		Parts.push_back("missing must_present " + Names);
	}
	Case.Message = "log_ok is false";
	for (size_t I = 0; I < Parts.size(); ++I)
	{
		Case.Message += (I ? "; " : ": ") + Parts[I];
	}
	for (const FMatchedLogLine& Line : Result.MatchedLogLines)
	{
		Detail += Printf("  t=%.3fs [%s] %s: %s: %s (matched '%s')\n", Line.Seconds, Line.Bucket.c_str(), Line.Category.c_str(),
			Line.Verbosity.c_str(), Line.Message.c_str(), Line.Pattern.c_str());
	}
	Case.Detail = Case.Message + "\n\n" + Detail;
	return Case;
}

FCase SampleCase(const FSmokeSpecResult& Result, double SessionTime)
{
	const FJson& Report = Result.Report;
	FCase Case;
	Case.Name = "sample_ok";
	Case.Time = SessionTime;
	if (Bool(Report, "sample_ok", false))
	{
		return Case;
	}
	Case.Result = ECaseResult::Failure;
	Case.Type = "sampling";
	std::string Names;
	std::string Detail;
	if (const FJson* Entries = FindArray(Report, "sample_resolution"))
	{
		for (const FJson& Entry : *Entries)
		{
			const std::string State = String(Entry, "state");
			if (State == "resolved" || !Bool(Entry, "required", true))
			{
				continue;
			}
			const std::string Name = String(Entry, "name");
			std::string Reason = String(Entry, "reason");
			const std::string Error = String(Entry, "error");
			if (!Error.empty())
			{
				Reason += Reason.empty() ? Error : " — " + Error;
			}
			Names += (Names.empty() ? "" : ", ") + Name;
			Detail += Printf("%s (%s, root %s): %s%s%s\n", Name.c_str(), String(Entry, "source").c_str(), String(Entry, "root").c_str(),
				State.c_str(), Reason.empty() ? "" : ": ", Reason.c_str());
		}
	}
	Case.Message = Names.empty() ? std::string("sample_ok is false") : "sample_ok is false: required sample(s) never resolved: " + Names;
	Case.Detail = Case.Message + "\n\n" + Detail;
	return Case;
}

FCase StableCase(const FSmokeSpecResult& Result, double SessionTime)
{
	const FJson& Report = Result.Report;
	FCase Case;
	Case.Name = "stable_ok";
	Case.Time = SessionTime;
	if (Bool(Report, "stable_ok", false))
	{
		if (const FJson* D = FindObject(Report, "determinism"); D && !Bool(*D, "stable", true))
		{
			Case.Output = "determinism.stable is false (require_stable is off, so the session is not failed):\n";
			if (const FJson* Notes = FindArray(*D, "notes"))
			{
				for (const FJson& Note : *Notes)
				{
					Case.Output += DisplayValue(Note) + "\n";
				}
			}
		}
		return Case;
	}
	Case.Result = ECaseResult::Failure;
	Case.Type = "determinism";
	Case.Message = "stable_ok is false: require_stable is on and the run was not stable";
	std::string Detail = Case.Message + "\n\n";
	if (const FJson* D = FindObject(Report, "determinism"))
	{
		if (const FJson* Notes = FindArray(*D, "notes"); Notes && !Notes->empty())
		{
			Case.Message += ": " + DisplayValue((*Notes)[0]);
			for (const FJson& Note : *Notes)
			{
				Detail += DisplayValue(Note) + "\n";
			}
		}
	}
	Case.Detail = Detail;
	return Case;
}

/** A session that did not complete (error, stopped, never began play) fails whatever its other verdicts say. */
bool SessionCase(const FSmokeSpecResult& Result, double SessionTime, FCase& Case)
{
	const FJson& Report = Result.Report;
	const std::string Status = String(Report, "status", "unknown");
	const bool bReady = Bool(Report, "pie_ready", true);
	if (Status == "complete" && bReady)
	{
		return false;
	}
	Case.Name = "session";
	Case.Time = SessionTime;
	Case.Result = ECaseResult::Error;
	Case.Type = "status_" + Status;
	const std::string Error = String(Report, "error");
	Case.Message = "session status " + Status + (Error.empty() ? std::string() : ": " + Error);
	if (Status == "complete" && !bReady)
	{
		Case.Type = "never_began_play";
		Case.Message = "session status complete, but the PIE world never began play";
	}
	Case.Detail = Case.Message + "\n";
	if (const FJson* D = FindObject(Report, "determinism"))
	{
		if (const FJson* Notes = FindArray(*D, "notes"))
		{
			for (const FJson& Note : *Notes)
			{
				Case.Detail += DisplayValue(Note) + "\n";
			}
		}
	}
	return true;
}

std::vector<FCase> CasesOf(const FSmokeSpecResult& Result, double& OutTime)
{
	std::vector<FCase> Cases;
	if (Result.Outcome != ESmokeOutcome::Ran)
	{
		OutTime = 0.0;
		FCase Case;
		Case.Name = "run_pie_smoke";
		Case.Result = ECaseResult::Error;
		Case.Type = Result.Outcome == ESmokeOutcome::Refused ? "refused" : "unreadable";
		Case.Message = Result.ErrorMessage;
		Case.Detail = Result.ErrorMessage + "\n";
		if (Result.ErrorCode != 0)
		{
			Case.Detail += Printf("code: %d\n", Result.ErrorCode);
		}
		if (!Result.ErrorData.is_null())
		{
			Case.Detail += "data: " + JsonText(Result.ErrorData, 2) + "\n";
		}
		Cases.push_back(std::move(Case));
		return Cases;
	}
	OutTime = SessionSeconds(Result.Report);
	FCase Session;
	if (SessionCase(Result, OutTime, Session))
	{
		Cases.push_back(std::move(Session));
	}
	AddExpectationCases(Cases, Result, OutTime);
	Cases.push_back(LogCase(Result, OutTime));
	Cases.push_back(SampleCase(Result, OutTime));
	Cases.push_back(StableCase(Result, OutTime));
	return Cases;
}

void Property(std::string& Out, const char* Name, const std::string& Value)
{
	Out += Printf("      <property name=\"%s\" value=\"", Name);
	Out += EscapeAttribute(Value);
	Out += "\"/>\n";
}

void Properties(std::string& Out, const FSmokeSpecResult& Result)
{
	Out += "    <properties>\n";
	Property(Out, "spec", Result.SpecPath.empty() ? Result.Name : Result.SpecPath);
	if (Result.Outcome == ESmokeOutcome::Ran)
	{
		const FJson& Report = Result.Report;
		Property(Out, "session_id", String(Report, "session_id"));
		Property(Out, "map", String(Report, "map"));
		Property(Out, "status", String(Report, "status"));
		Property(Out, "ok", Bool(Report, "ok", false) ? "true" : "false");
		if (const FJson* D = FindObject(Report, "determinism"))
		{
			Property(Out, "clock", String(*D, "clock"));
			Property(Out, "frames", String(*D, "frames"));
			Property(Out, "wall_seconds", String(*D, "wall_seconds"));
		}
	}
	else
	{
		Property(Out, "outcome", Result.Outcome == ESmokeOutcome::Refused ? "refused" : "unreadable");
	}
	Out += "    </properties>\n";
}
}

std::string WriteJUnitXml(const FSmokeSuite& Suite)
{
	struct FSuiteCases
	{
		const FSmokeSpecResult* Result;
		std::vector<FCase> Cases;
		double Time = 0.0;
		size_t Failures = 0;
		size_t Errors = 0;
	};
	std::vector<FSuiteCases> All;
	size_t Tests = 0;
	size_t Failures = 0;
	size_t Errors = 0;
	double Time = 0.0;
	for (const FSmokeSpecResult& Result : Suite.Specs)
	{
		FSuiteCases& Entry = All.emplace_back();
		Entry.Result = &Result;
		Entry.Cases = CasesOf(Result, Entry.Time);
		for (const FCase& Case : Entry.Cases)
		{
			Entry.Failures += Case.Result == ECaseResult::Failure ? 1 : 0;
			Entry.Errors += Case.Result == ECaseResult::Error ? 1 : 0;
		}
		Tests += Entry.Cases.size();
		Failures += Entry.Failures;
		Errors += Entry.Errors;
		Time += Entry.Time;
	}

	std::string Out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
	Out += "<testsuites name=\"" + EscapeAttribute(Suite.Name) + "\"";
	Out += Printf(" tests=\"%zu\" failures=\"%zu\" errors=\"%zu\" time=\"%s\">\n", Tests, Failures, Errors, Seconds(Time).c_str());
	for (size_t Index = 0; Index < All.size(); ++Index)
	{
		const FSuiteCases& Entry = All[Index];
		const FSmokeSpecResult& Result = *Entry.Result;
		Out += "  <testsuite name=\"" + EscapeAttribute(Result.Name) + "\"";
		Out += Printf(" tests=\"%zu\" failures=\"%zu\" errors=\"%zu\" skipped=\"0\" time=\"%s\"", Entry.Cases.size(), Entry.Failures, Entry.Errors,
			Seconds(Entry.Time).c_str());
		if (!Suite.Timestamp.empty())
		{
			Out += " timestamp=\"" + EscapeAttribute(Suite.Timestamp) + "\"";
		}
		Out += Printf(" id=\"%zu\">\n", Index);
		Properties(Out, Result);
		for (const FCase& Case : Entry.Cases)
		{
			Out += "    <testcase name=\"" + EscapeAttribute(Case.Name) + "\" classname=\"" + EscapeAttribute(Result.Name) + "\"";
			Out += " time=\"" + Seconds(Case.Time) + "\"";
			if (Case.Result == ECaseResult::Passed && Case.Output.empty())
			{
				Out += "/>\n";
				continue;
			}
			Out += ">\n";
			if (Case.Result != ECaseResult::Passed)
			{
				const char* Element = Case.Result == ECaseResult::Failure ? "failure" : "error";
				Out += Printf("      <%s message=\"", Element);
				Out += EscapeAttribute(Case.Message);
				Out += "\" type=\"" + EscapeAttribute(Case.Type) + "\">";
				Out += EscapeText(Case.Detail);
				Out += Printf("</%s>\n", Element);
			}
			if (!Case.Output.empty())
			{
				Out += "      <system-out>" + EscapeText(Case.Output) + "</system-out>\n";
			}
			Out += "    </testcase>\n";
		}
		Out += "  </testsuite>\n";
	}
	Out += "</testsuites>\n";
	return Out;
}
}
