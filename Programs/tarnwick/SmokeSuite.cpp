#include "SmokeSuite.h"

#include "Editor.h"
#include "HtmlReport.h"
#include "JUnitReport.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "SmokeProgress.h"
#include "SmokeRun.h"
#include "SmokeSuiteInputs.h"
#include "TarnwickEditorModule.h"
#include "TarnwickLogCapture.h"
#include "TarnwickLogVerbosity.h"
#include "TarnwickTimeFormat.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Tarnwick::Program
{
namespace
{
namespace fs = std::filesystem;
using Reports::FSmokeSpecResult;

/** Bytes of clip frames read for the HTML page over the whole suite; the page embeds a spread within its own budget. */
constexpr size_t MaxFrameBytesRead = 16 * 1024 * 1024;

std::string Dump(const FJson& Json)
{
	return Json.dump(2, ' ', false, FJson::error_handler_t::replace) + "\n";
}

bool WriteText(const fs::path& Path, const std::string& Text)
{
	if (const fs::path Parent = Path.parent_path(); !Parent.empty())
	{
		std::error_code Ignored;
		fs::create_directories(Parent, Ignored);
	}
	std::ofstream Out(Path, std::ios::binary);
	Out << Text;
	Out.close();
	return static_cast<bool>(Out);
}

std::vector<Reports::FLogLine> CapturedLog()
{
	std::vector<Reports::FLogLine> Lines;
	const FTarnwickLogCapture* Capture = FTarnwickEditorModule::GetGlobalLogCapture();
	if (!Capture) return Lines;
	for (const FTarnwickLogEntry& Entry : Capture->GetRecent(FTarnwickLogCapture::Capacity))
	{
		Lines.push_back({Entry.Timestamp, Entry.Category.ToString(), Logs::VerbosityNameLower(Entry.Verbosity), Entry.Message});
	}
	return Lines;
}

void ReadClipFrames(FSmokeSpecResult& Spec, size_t& BytesLeft)
{
	const auto Paths = Spec.Report.find("frame_paths");
	if (Paths == Spec.Report.end() || !Paths->is_array()) return;
	for (const FJson& Path : *Paths)
	{
		if (!Path.is_string()) continue;
		std::error_code Error;
		const uintmax_t Size = fs::file_size(Path.get<std::string>(), Error);
		if (Error || Size > BytesLeft) continue;
		std::ifstream In(Path.get<std::string>(), std::ios::binary);
		std::ostringstream Bytes;
		Bytes << In.rdbuf();
		BytesLeft -= static_cast<size_t>(Size);
		Spec.ClipFrames.push_back({Path.get<std::string>(), Bytes.str()});
	}
}

std::string EditorMapName()
{
	const UWorld* World = GEditor ? GEditor->GetEditorWorld() : nullptr;
	return World ? World->GetPackageName() : std::string();
}

/**
 * A spec without `map` runs on the open level. Alone, that is the level the editor opened at start-up; in a
 * suite it would be whatever the previous spec loaded, so a spec's verdict would depend on its neighbours. The
 * start-up level is opened afresh (from disk, as the spec alone would find it) before each such spec.
 */
void ReopenStartupLevel(const FJson& Spec, const std::string& StartupMap)
{
	const auto Map = Spec.find("map");
	if (Map != Spec.end() && !(Map->is_string() && Map->get<std::string>().empty())) return;
	if (StartupMap.empty()) return;
	std::string Error;
	if (!GEditor || !GEditor->LoadMap(StartupMap, &Error))
	{
		std::fprintf(stderr, "tarnwick smoke: could not reopen the start-up level %s before the next spec (%s); it runs on the level left open\n",
			StartupMap.c_str(), Error.c_str());
	}
}

/**
 * Clears the progress line before each log line stderr shows, so the two never share a line; the line is drawn
 * again at the next progress update. Placed ahead of the stderr device, since devices are called in order.
 */
class FProgressLogGuard final : public FOutputDevice
{
public:
	FProgressLogGuard(Reports::FProgressLine& InProgress, const FSmokeEditor& InEditor) : Progress(InProgress), Editor(InEditor)
	{
		if (!Progress.IsActive() || !Editor.StdErr) return;
		GLog->RemoveOutputDevice(Editor.StdErr);
		GLog->AddOutputDevice(this);
		GLog->AddOutputDevice(Editor.StdErr);
		bInstalled = true;
	}
	~FProgressLogGuard() override
	{
		if (bInstalled) GLog->RemoveOutputDevice(this);
	}
	FProgressLogGuard(const FProgressLogGuard&) = delete;
	FProgressLogGuard& operator=(const FProgressLogGuard&) = delete;

	void Serialize(std::string_view, ELogVerbosity::Type Verbosity, std::string_view, double) override
	{
		if (Verbosity <= Editor.StdErrVerbosity) Progress.Clear();
	}
	// The progress line is drawn from the game thread only; lines from other threads wait for it.
	bool CanBeUsedOnAnyThread() const override { return false; }

private:
	Reports::FProgressLine& Progress;
	FSmokeEditor Editor;
	bool bInstalled = false;
};

std::string VerdictWord(const FSmokeSpecResult& Spec)
{
	switch (Spec.Outcome)
	{
	case Reports::ESmokeOutcome::Refused: return "REFUSED";
	case Reports::ESmokeOutcome::Unreadable: return "UNREADABLE";
	default: return Reports::IsSessionOk(Spec) ? "PASS" : "FAIL";
	}
}

/** The session time, the clamped duration and the frames since the clock started, as the report has them. */
void ReadProgress(const FJson& Report, Reports::FProgress& Line)
{
	Line.SessionSeconds = Report.value("elapsed_seconds", Line.SessionSeconds);
	Line.Duration = Report.value("duration", Line.Duration);
	const auto Determinism = Report.find("determinism");
	if (Determinism != Report.end() && Determinism->is_object()) Line.Frames = Determinism->value("frames", Line.Frames);
}

std::string Tally(const Reports::FSmokeSuite& Suite)
{
	size_t Passed = 0, Failed = 0, Refused = 0, Unreadable = 0;
	for (const FSmokeSpecResult& Spec : Suite.Specs)
	{
		switch (Spec.Outcome)
		{
		case Reports::ESmokeOutcome::Refused: ++Refused; break;
		case Reports::ESmokeOutcome::Unreadable: ++Unreadable; break;
		default: (Reports::IsSessionOk(Spec) ? Passed : Failed) += 1; break;
		}
	}
	return Printf("suite: %zu spec(s): %zu passed, %zu failed, %zu refused, %zu unreadable\n", Suite.Specs.size(), Passed, Failed,
		Refused, Unreadable);
}
}

bool IsSingleSpecRun(const std::vector<std::string>& SpecArguments)
{
	std::error_code Error;
	return SpecArguments.size() == 1 && !fs::is_directory(SpecArguments.front(), Error);
}

FJson ReportFileJson(const FSmokeSpecResult& Spec)
{
	if (Spec.Outcome == Reports::ESmokeOutcome::Ran) return Spec.Report;
	FJson Error = FJson{{"code", Spec.ErrorCode}, {"message", Spec.ErrorMessage}};
	if (Spec.ErrorData.is_object()) Error["data"] = Spec.ErrorData;
	return FJson{{"error", std::move(Error)}};
}

std::string CheckSmokeOutputs(const FSmokeOptions& Options)
{
	std::error_code Error;
	const bool bSingle = IsSingleSpecRun(Options.Specs);
	if (!Options.ReportFile.empty())
	{
		if (bSingle && fs::is_directory(Options.ReportFile, Error))
		{
			return Printf("--report '%s' is a folder; with one spec file it names the report file", Options.ReportFile.c_str());
		}
		if (!bSingle && fs::exists(Options.ReportFile, Error) && !fs::is_directory(Options.ReportFile, Error))
		{
			return Printf("--report '%s' is a file; with a folder or several specs it names a folder that gets a <spec>.json for each spec",
				Options.ReportFile.c_str());
		}
	}
	const std::pair<const char*, const std::string*> Files[] = {{"--junit", &Options.JUnitFile}, {"--html", &Options.HtmlFile}};
	for (const auto& [Flag, Path] : Files)
	{
		if (!Path->empty() && fs::is_directory(*Path, Error)) return Printf("%s '%s' is a folder; it names the file to write", Flag, Path->c_str());
	}
	if (!Options.JUnitFile.empty() && Options.JUnitFile == Options.HtmlFile)
	{
		return Printf("--junit and --html both name '%s'; each needs a file of its own", Options.JUnitFile.c_str());
	}
	if (bSingle && !Options.ReportFile.empty() && (Options.ReportFile == Options.JUnitFile || Options.ReportFile == Options.HtmlFile))
	{
		return Printf("--report names '%s' as --junit or --html does; each needs a file of its own", Options.ReportFile.c_str());
	}
	return std::string();
}

int RunSmokeSuite(const FSmokeOptions& Options, const FStartEditor& StartEditor)
{
	if (const std::string Problem = CheckSmokeOutputs(Options); !Problem.empty())
	{
		std::fprintf(stderr, "tarnwick smoke: %s\n", Problem.c_str());
		return 2;
	}
	const bool bSingle = IsSingleSpecRun(Options.Specs);
	Reports::FSmokeSuite Suite;
	Suite.Specs = Reports::CollectSpecs(Options.Specs);
	if (Options.Specs.size() == 1) Suite.Name = Options.Specs.front();

	FSmokeEditor Editor;
	const bool bAnyReadable = std::any_of(Suite.Specs.begin(), Suite.Specs.end(),
		[](const FSmokeSpecResult& Spec) { return Spec.Outcome == Reports::ESmokeOutcome::Ran; });
	if (bAnyReadable)
	{
		Editor = StartEditor();
		if (!Editor.Host) return 2;
	}
	Sim::FSimHost* SimHost = Editor.Host;
	Suite.Timestamp = FormatUtc(Host::GetClock().UtcNow());
	const std::string StartupMap = EditorMapName();

	Reports::FProgressLine Progress(stderr);
	const FProgressLogGuard LogGuard(Progress, Editor);
	size_t FrameBytesLeft = MaxFrameBytesRead;
	bool bRanOne = false;
	for (size_t I = 0; I < Suite.Specs.size(); ++I)
	{
		FSmokeSpecResult& Spec = Suite.Specs[I];
		Reports::FProgress Line;
		Line.Index = I + 1;
		Line.Count = Suite.Specs.size();
		Line.Name = Spec.Name;
		if (Spec.Outcome == Reports::ESmokeOutcome::Unreadable)
		{
			Line.Verdict = VerdictWord(Spec);
			Progress.Done(Line);
			std::fprintf(stderr, "tarnwick smoke: %s\n", Spec.ErrorMessage.c_str());
			continue;
		}
		if (bRanOne) ReopenStartupLevel(Spec.Spec, StartupMap);
		bRanOne = true;
		// A session reads the log from its registration time on. The virtual clock moves only with frames, so
		// without one the lines before it (start-up, or the previous session's teardown with its
		// "BeginTearingDown") would carry the session's start time and count as its own.
		SimHost->StepFrame();
		const auto Duration = Spec.Spec.find("duration");
		Line.Duration = Duration != Spec.Spec.end() && Duration->is_number() ? Duration->get<double>() : 5.0;
		Progress.Update(Line);
		const FSmokeRunResult Run = RunSmokeSession(*SimHost, Spec.Spec, [&](const FJson& Report) {
			ReadProgress(Report, Line);
			Progress.Update(Line);
		});
		if (Run.Outcome == ESmokeOutcome::Refused)
		{
			Spec.Outcome = Reports::ESmokeOutcome::Refused;
			Spec.ErrorMessage = Run.RefusalMessage;
			Spec.ErrorCode = Run.RefusalCode;
			Spec.ErrorData = Run.RefusalData;
		}
		else
		{
			Spec.Report = Run.Report;
			Spec.MatchedLogLines = Reports::FindMustAbsentLines(CapturedLog(), Spec.Report);
			ReadClipFrames(Spec, FrameBytesLeft);
			ReadProgress(Spec.Report, Line);
		}
		Line.Verdict = VerdictWord(Spec);
		Progress.Done(Line);
		std::fputs(SummarizeSmokeRun(Spec.SpecPath, Run).c_str(), stdout);
		std::fflush(stdout);
	}
	if (!bSingle) std::fputs(Tally(Suite).c_str(), stdout);

	bool bWritten = true;
	const auto Write = [&](const fs::path& Path, const std::string& Text) {
		if (!WriteText(Path, Text))
		{
			std::fprintf(stderr, "tarnwick smoke: cannot write '%s'\n", Path.string().c_str());
			bWritten = false;
		}
	};
	if (!Options.ReportFile.empty())
	{
		for (const FSmokeSpecResult& Spec : Suite.Specs)
		{
			// An unreadable file never reached run_pie_smoke, so there is no answer of its to write.
			if (Spec.Outcome == Reports::ESmokeOutcome::Unreadable) continue;
			Write(bSingle ? fs::path(Options.ReportFile) : fs::path(Options.ReportFile) / (Spec.Name + ".json"), Dump(ReportFileJson(Spec)));
		}
	}
	if (!Options.JUnitFile.empty()) Write(Options.JUnitFile, Reports::WriteJUnitXml(Suite));
	if (!Options.HtmlFile.empty())
	{
		Write(Options.HtmlFile, bSingle ? Reports::WriteSessionHtml(Suite.Specs.front()) : Reports::WriteSuiteHtml(Suite));
	}
	const int Code = Reports::SuiteExitCode(Suite);
	return bWritten ? Code : 2;
}
}
