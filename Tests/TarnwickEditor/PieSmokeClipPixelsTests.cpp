// What a smoke session leaves on disk, read back as a user would read it: clip PNGs decoded with libspng and
// judged by their pixels (the walking hero where its camera must see it, another camera, wireframe, a hidden
// editor), Python probes on the live world with their output and log lines, and the CSV and trace files of a
// profiled session. Everything runs on a copy of the Arena, on the virtual clock, through the public actions.
#include "CsvProfiler.h"
#include "EditorPerformanceSettings.h"
#include "PieSmoke/PieSmokeObserver.h"
#include "PixelBlobs.h"
#include "PngTestUtils.h"
#include "PythonScriptPlugin.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickGameplayModuleScope.h"
#include "TarnwickLogCapture.h"
#include "TarnwickTestHelpers.h"
#include "Ticker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace Tarnwick::PieSmoke;
using Tarnwick::Test::FBlob;
using Tarnwick::Test::FDecodedPng;
using Tarnwick::Test::FindBlob;
using Tarnwick::Test::FindBlobAt;

namespace
{
/** SK_Hero's green (60, 200, 90) under any light; the enemy wears it too, so a test follows one patch of it. */
bool IsHeroGreen(const FColor& C) { return C.G > 1.8 * C.R && C.G > 1.6 * C.B; }

const FColor Black(0, 0, 0);

/** Where the hero's centre landed in one captured frame, from the camera the viewport looked through. */
struct FExpectedHero
{
	std::string Path;
	int32 X = 0;
	int32 Y = 0;
	FVector HeroLocation;
};

class PieSmokeClipPixelsTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		FTSTicker::GetCoreTicker().Reset();
		FPieSmokeObserver::Get().Reset();
		UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground = true;
		GLog->AddOutputDevice(&Capture);
		Tarnwick::Editor::AddPieSmokeHandlers(Table, &Capture);
		Tarnwick::Editor::AddPieHandlers(Table);
		Gameplay = std::make_unique<Tarnwick::Test::FGameplayModuleScope>();
		std::filesystem::copy(TARNWICK_SOURCE_DIR "/Samples/Arena", Project.Get(), std::filesystem::copy_options::recursive);
		std::filesystem::remove_all(Project.Get() / "Saved");
	}
	void TearDown() override
	{
		FPieSmokeObserver::Get().Reset();
		Host.reset();
		Gameplay.reset();
		GLog->RemoveOutputDevice(&Capture);
		FTSTicker::GetCoreTicker().Reset();
		FRegistryTest::TearDown();
	}
	void CreateHost(bool bHiddenEditor = false)
	{
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = Project.Str();
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		Options.bHiddenEditor = bHiddenEditor;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
	}
	FJson Succeed(const char* Action, FJson Params)
	{
		const FTarnwickActionResult R = (*Table.Find("editor", Action))(MakeJsonObject(std::move(Params)));
		EXPECT_TRUE(R.bSuccess) << Action << ": " << R.ErrorMessage;
		return R.Result ? *R.Result : FJson();
	}
	FJson Poll(const std::string& Id) { return Succeed("poll_pie_smoke", FJson{{"session_id", Id}}); }
	/** Runs the session to its end, frame by frame; false when it is still running after MaxFrames. */
	bool RunToEnd(const std::string& Id, int32 MaxFrames = 2000)
	{
		FPieSmokeSession* Session = FPieSmokeObserver::Get().Find(Id);
		return Session && Host->StepUntil([Session] { return Session->Runtime.Status != ESessionStatus::Running; }, MaxFrames);
	}
	/**
	 * Runs a clip to its end; for each frame it grabs, notes where the renderer puts the hero's centre through the
	 * camera the player is looking through at that moment.
	 */
	std::vector<FExpectedHero> RunClip(const std::string& Id)
	{
		std::vector<FExpectedHero> Out;
		FPieSmokeSession* Session = FPieSmokeObserver::Get().Find(Id);
		if (!Session) return Out;
		for (int32 Frame = 0; Frame < 2000 && Session->Runtime.Status == ESessionStatus::Running; ++Frame)
		{
			Host->StepFrame();
			if (Session->Clip.Frames.size() == Out.size()) continue;
			UWorld* Pie = GEditor->GetPlayWorld();
			APlayerController* Player = Pie ? Pie->GetFirstPlayerController() : nullptr;
			APawn* Hero = Player ? Player->GetPawn() : nullptr;
			if (!Hero) break;
			const Tarnwick::Sim::FSimRenderCamera Camera = Host->GetEditor().CameraForViewTarget(Player->GetViewTarget());
			double X = -1, Y = -1, Depth = 0;
			EXPECT_TRUE(Tarnwick::Sim::ProjectToScreen(Camera, FIntPoint{1280, 720}, Hero->GetActorLocation(), X, Y, Depth));
			Out.push_back({Session->Clip.Frames.back().Path, static_cast<int32>(X), static_cast<int32>(Y), Hero->GetActorLocation()});
		}
		EXPECT_NE(Session->Runtime.Status, ESessionStatus::Running);
		return Out;
	}
	static FDecodedPng Decode(const std::string& Path)
	{
		FDecodedPng Image;
		std::string Error;
		EXPECT_TRUE(Tarnwick::Test::DecodePngFile(Path, Image, &Error)) << Path << ": " << Error;
		return Image;
	}
	static size_t CountOf(const FDecodedPng& Image, const FColor& Colour)
	{
		return static_cast<size_t>(std::count_if(Image.Pixels.begin(), Image.Pixels.end(), [&](const FColor& C) { return C.EqualsRGB(Colour); }));
	}

	/** Holds W from the start, so the hero walks forward for the whole clip. */
	static FJson WalkingClip(const std::string& Folder)
	{
		return FJson{{"duration", 1}, {"capture_interval", 0.25}, {"output_path", Folder},
			{"input_events", FJson::parse(R"([{"event": "down", "key": "W", "at_seconds": 0}])")}};
	}

	Tarnwick::Test::FTempDir Project;
	std::unique_ptr<Tarnwick::Test::FGameplayModuleScope> Gameplay;
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	FTarnwickLogCapture Capture;
	FTarnwickHandlerTable Table;
};
}

TEST_F(PieSmokeClipPixelsTest, AWalkingHerosClipShowsTheHeroWhereItsCameraLooksAndNoTwoFramesAreAlike)
{
	CreateHost();
	const std::string Id = Succeed("capture_pie_movement_clip", WalkingClip("Saved/Clips/Walk"))["session_id"];
	const std::vector<FExpectedHero> Expected = RunClip(Id);
	const FJson Report = Poll(Id);
	ASSERT_EQ(Report["frame_count"], 5);
	ASSERT_EQ(Expected.size(), 5u);
	EXPECT_EQ(Report["valid_frames"], 4);
	EXPECT_EQ(Report["invalid_frames"], 0);
	EXPECT_EQ(Report["captured_ok"], true);
	EXPECT_FALSE(Report.contains("hint"));
	EXPECT_GT(Expected.back().HeroLocation.X - Expected.front().HeroLocation.X, 300.0) << "the hero walked under the held W";

	std::vector<FDecodedPng> Frames;
	for (const FExpectedHero& E : Expected)
	{
		EXPECT_EQ(E.Path, Report["frame_paths"][Frames.size()]);
		Frames.push_back(Decode(E.Path));
		const FDecodedPng& Frame = Frames.back();
		ASSERT_EQ(Frame.Width, 1280);
		ASSERT_EQ(Frame.Height, 720);
		// The follow camera rides behind the hero, so its capsule stays centred a little below the middle.
		EXPECT_NEAR(E.X, 640, 2);
		EXPECT_NEAR(E.Y, 438, 8);
		const FBlob Hero = FindBlobAt(Frame, E.X, E.Y, IsHeroGreen);
		EXPECT_GT(Hero.Count, 5000u) << E.Path << ": the capsule, some 60 by 290 pixels";
		EXPECT_NEAR(Hero.X, E.X, 3.0) << E.Path;
		EXPECT_EQ(Frame.At(640, 10), Tarnwick::Sim::SimRenderConstants::SkyColor) << "the sky above";
		for (size_t Earlier = 0; Earlier + 1 < Frames.size(); ++Earlier)
		{
			EXPECT_GT(Frame.CountDifferentPixels(Frames[Earlier]), 2000u) << "frames " << Earlier << " and " << Frames.size() - 1;
		}
	}
}

TEST_F(PieSmokeClipPixelsTest, TheSameWalkThroughTheOverviewCameraOrInWireframeGivesOtherFrames)
{
	CreateHost();
	struct FShot
	{
		FDecodedPng Image;
		FExpectedHero Hero;
		FJson Report;
	};
	// The last frame of the walk, as each clip saw it.
	auto LastFrame = [&](FJson Params) {
		FShot Shot;
		const std::string Id = Succeed("capture_pie_movement_clip", std::move(Params))["session_id"];
		const std::vector<FExpectedHero> Expected = RunClip(Id);
		Shot.Report = Poll(Id);
		Host->StepFrames(3);
		if (Expected.empty()) return Shot;
		Shot.Image = Decode(Expected.back().Path);
		Shot.Hero = Expected.back();
		return Shot;
	};
	const FShot Own = LastFrame(WalkingClip("Saved/Clips/Own"));
	ASSERT_EQ(Own.Image.Width, 1280);
	const size_t OwnHero = FindBlobAt(Own.Image, Own.Hero.X, Own.Hero.Y, IsHeroGreen).Count;

	FJson Overview = WalkingClip("Saved/Clips/Overview");
	Overview["view_target_actor"] = "overview";
	const FShot Far = LastFrame(Overview);
	EXPECT_EQ(Far.Report["view_target"], FJson::parse(R"({"active_actor": "CameraActor_0", "active_class": "CameraActor",
		"requested": "overview", "resolved_actor": "CameraActor_0", "resolved_class": "CameraActor", "resolved": true})"));
	EXPECT_EQ(Far.Report["captured_ok"], true);
	ASSERT_EQ(Far.Image.Width, 1280);
	EXPECT_GT(Far.Image.CountDifferentPixels(Own.Image), Own.Image.Pixels.size() / 4) << "another camera, another picture";
	// Seen from far behind and above, the hero walks straight away from the camera: small, below the middle,
	// centred across.
	EXPECT_GT(Far.Hero.Y, 400);
	EXPECT_NEAR(Far.Hero.X, 640, 2);
	const size_t FarHero = FindBlobAt(Far.Image, Far.Hero.X, Far.Hero.Y, IsHeroGreen).Count;
	EXPECT_GT(FarHero, 300u);
	EXPECT_LT(FarHero, OwnHero / 3) << "about 2.6 times as far, through a narrower lens";

	FJson WireParams = WalkingClip("Saved/Clips/Wire");
	WireParams["stages"] = FJson::parse(R"({"before_capture": {"console": ["viewmode wireframe"]}})");
	const FShot Wire = LastFrame(WireParams);
	ASSERT_EQ(Wire.Image.Width, 1280);
	EXPECT_EQ(Wire.Report["captured_ok"], true) << "edges on black are not a uniform frame";
	EXPECT_GT(Wire.Image.CountDifferentPixels(Own.Image), Own.Image.Pixels.size() / 2);
	EXPECT_GT(CountOf(Wire.Image, Black), Wire.Image.Pixels.size() * 3 / 4) << "edges on black";
	EXPECT_EQ(CountOf(Wire.Image, Tarnwick::Sim::SimRenderConstants::SkyColor), 0u);
	EXPECT_EQ(CountOf(Own.Image, Black), 0u) << "the lit view has sky where there is nothing";
	EXPECT_GT(FindBlob(Wire.Image, IsHeroGreen).Count, 200u) << "the capsule's edges keep the mesh colour";
}

TEST_F(PieSmokeClipPixelsTest, AHiddenEditorsClipIsUniformAndSaysWhy)
{
	CreateHost(/*bHiddenEditor=*/true);
	const FJson Started = Succeed("capture_pie_movement_clip", WalkingClip("Saved/Clips/Hidden"));
	const std::string Id = Started["session_id"];
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	ASSERT_EQ(Report["frame_count"], 5) << "a black frame is still a frame written";
	for (const FJson& Path : Report["frame_paths"])
	{
		const FDecodedPng Frame = Decode(Path);
		EXPECT_EQ(Frame.Width, 1280);
		EXPECT_TRUE(Frame.IsUniformRGB()) << Path;
		EXPECT_EQ(Frame.At(0, 0), FColor(0, 0, 0, 255)) << "black, made opaque";
	}
	EXPECT_EQ(Report["valid_frames"], 0);
	EXPECT_EQ(Report["invalid_frames"], 4) << "the first frame is discarded";
	EXPECT_EQ(Report["captured_ok"], false);
	EXPECT_EQ(Report["hint"], "All frames were uniform/black — the PIE viewport is likely not rendered (hidden editor / no active level "
							  "viewport). Pass view_target_actor or run with a visible editor viewport.");
	EXPECT_EQ(Report["status"], "complete") << "a clip of black frames still runs its course";
}

TEST_F(PieSmokeClipPixelsTest, PythonProbesReadTheLiveHeroAndTheirLinesReachTheLogBuckets)
{
	CreateHost();
	const std::string Id = Succeed("run_pie_smoke", FJson{{"duration", 1},
		{"log_patterns", FJson{{"must_present", {"probe: hero health", "probe: never said"}}}},
		{"probe_scripts", FJson::array({
			FJson{{"at_seconds", 0.5}, {"python", "import unreal\n"
												"hero = unreal.get_player_pawn()\n"
												"unreal.log(f\"probe: hero health {hero.get_editor_property('Health')} at x={hero.get_actor_location().x:.0f}\")\n"
												"print('read', hero.get_actor_label())\n"}},
			FJson{{"at_seconds", 0.6}, {"python", "print('about to fail')\nraise RuntimeError('the probe gives up')\n"}}})},
		{"input_events", FJson::parse(R"([{"event": "down", "key": "W", "at_seconds": 0}])")}})["session_id"];
	ASSERT_TRUE(RunToEnd(Id));
	const FJson Report = Poll(Id);
	ASSERT_EQ(Report["probes"].size(), 2u);
	if (!IPythonScriptPlugin::Get()->IsPythonAvailable())
	{
		for (const FJson& Probe : Report["probes"])
		{
			EXPECT_EQ(Probe["python_ok"], false);
			EXPECT_EQ(Probe["python_output"], "Python not available in this build.");
		}
		EXPECT_EQ(Report["missing_must_present"].size(), 2u);
		GTEST_SKIP() << "built without Python: the probes said so";
	}
	const FJson& Reads = Report["probes"][0];
	EXPECT_EQ(Reads["fired"], true);
	EXPECT_EQ(Reads["python_ok"], true) << Reads["python_output"];
	// The line carries where the hero was at that moment of the walk: the probe ran on the live PIE world.
	const std::string Output = Reads["python_output"];
	EXPECT_TRUE(Output.starts_with("probe: hero health 100.0 at x=")) << Output;
	EXPECT_TRUE(Output.ends_with("\nread BP_Hero\n")) << Output;
	EXPECT_GT(std::stod(Output.substr(Output.find("at x=") + 5)), -800.0 + 100.0) << "the hero had walked from the PlayerStart";

	const FJson& Raises = Report["probes"][1];
	EXPECT_EQ(Raises["fired"], true);
	EXPECT_EQ(Raises["python_ok"], false);
	const std::string Failure = Raises["python_output"];
	EXPECT_TRUE(Failure.starts_with("about to fail\nTraceback (most recent call last):\n")) << Failure;
	EXPECT_TRUE(Failure.ends_with("RuntimeError: the probe gives up\n")) << Failure;

	EXPECT_EQ(Report["missing_must_present"], FJson::array({"probe: never said"})) << "the probe's own line was caught";
	EXPECT_EQ(Report["log_ok"], false) << "one pattern never appeared";
	EXPECT_EQ(Report["status"], "complete") << "a raising probe does not end the session";
}

TEST_F(PieSmokeClipPixelsTest, AProfiledSessionLeavesACsvRowPerFrameAndATrace)
{
	CreateHost();
	const std::string Id = Succeed("run_pie_smoke", FJson{{"duration", 1}, {"csv_profile", true}, {"trace_channels", {"frame", "log"}}})["session_id"];
	ASSERT_TRUE(RunToEnd(Id));
	Host->StepFrame();
	const FJson Report = Poll(Id);
	const FJson& Csv = Report["profiling"]["csv"];
	EXPECT_EQ(Csv["status"], "stopped (csv flushing asynchronously)");
	const std::string CsvPath = Csv["csv_path"];
	EXPECT_EQ(CsvPath, (Project.Get() / "Saved/Profiling" / ("pie_" + Id + ".csv")).string());

	std::vector<std::string> Lines;
	std::ifstream In(CsvPath);
	for (std::string Line; std::getline(In, Line);) Lines.push_back(Line);
	ASSERT_GE(Lines.size(), 3u) << CsvPath;
	const size_t Rows = Lines.size() - 3;
	EXPECT_EQ(Lines[0], Lines[Lines.size() - 2]) << "the header again before the metadata";
	EXPECT_NE(Lines.back().find("[framecount]," + std::to_string(Rows)), std::string::npos) << Lines.back();
	EXPECT_EQ(static_cast<int64>(Rows), Report["determinism"]["frames"].get<int64>()) << "one row for each frame of the session";
	EXPECT_EQ(Rows, 60u) << "one second at 60 frames a second";

	const FJson& Trace = Report["profiling"]["trace"];
	EXPECT_EQ(Trace["status"], "stopped");
	EXPECT_EQ(Trace["channels"], FJson::array({"frame", "log"}));
	EXPECT_GT(std::filesystem::file_size(Trace["trace_path"].get<std::string>()), 1000u);
}

TEST_F(PieSmokeClipPixelsTest, ACaptureRunningBeforeTheSessionKeepsItsOwnFile)
{
	CreateHost();
	FCsvProfiler* Profiler = FCsvProfiler::Get();
	ASSERT_TRUE(Profiler);
	const std::string Outer = (Project.Get() / "Outer").string();
	Profiler->BeginCapture(-1, Outer, "outer.csv");
	Host->StepFrame();
	ASSERT_TRUE(Profiler->IsCapturing());
	const std::string Id = Succeed("run_pie_smoke", FJson{{"duration", 0.5}, {"csv_profile", true}})["session_id"];
	ASSERT_TRUE(RunToEnd(Id));
	Host->StepFrames(5);
	EXPECT_EQ(Poll(Id)["profiling"]["csv"]["status"], "a CSV capture was already running; not started by this session");
	EXPECT_TRUE(Profiler->IsCapturing()) << "the session did not stop someone else's capture";
	EXPECT_FALSE(std::filesystem::exists(Project.Get() / "Saved/Profiling" / ("pie_" + Id + ".csv")));
	const std::shared_future<std::string> Written = Profiler->EndCapture();
	Host->StepFrame();
	ASSERT_EQ(Written.wait_for(std::chrono::seconds(0)), std::future_status::ready);
	EXPECT_EQ(Written.get(), Outer + "/outer.csv");
}
