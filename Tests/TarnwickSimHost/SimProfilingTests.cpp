// The simulated editor's CSV profiler and trace: files written over real frames, read back and checked row by
// row and event by event, with the statuses the session code relies on (already capturing, already connected).
#include "SimTestUtils.h"

#include "CsvProfiler.h"
#include "SimCsvFormat.h"
#include "SimTrace.h"
#include "TraceAuxiliary.h"

#include <filesystem>
#include <sstream>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;
namespace fs = std::filesystem;

namespace
{
/** A scratch folder for output files, removed at the end of the test. */
struct FScratch
{
	fs::path Dir;
	FScratch()
	{
		static int N = 0;
		Dir = fs::temp_directory_path() / ("tarnwick_profiling_" + std::to_string(::getpid()) + "_" + std::to_string(N++));
		fs::remove_all(Dir);
	}
	~FScratch() { fs::remove_all(Dir); }
};

std::vector<std::string> ReadLines(const std::string& Path)
{
	std::ifstream In(Path);
	std::vector<std::string> Lines;
	for (std::string L; std::getline(In, L);) Lines.push_back(L);
	return Lines;
}

std::vector<std::string> SplitCsv(const std::string& Line)
{
	std::vector<std::string> Out;
	std::stringstream S(Line);
	for (std::string F; std::getline(S, F, ',');) Out.push_back(F);
	return Out;
}

const std::string Header = "FrameTime,GameThreadTime,RenderThreadTime,RHI/DrawCalls,RHI/PrimitivesDrawn,PIE/ActorCount";

std::vector<FSimJson> ReadEvents(const std::string& Path)
{
	std::vector<FSimJson> Out;
	for (const std::string& L : ReadLines(Path)) Out.push_back(FSimJson::parse(L));
	return Out;
}

size_t CountEvents(const std::vector<FSimJson>& Events, const std::string& Kind)
{
	size_t N = 0;
	for (const FSimJson& E : Events) N += E.value("event", "") == Kind;
	return N;
}
}

TEST(SimCsvFormat, RowsQuoteWhatNeedsQuotingAndKeepMilliseconds)
{
	EXPECT_EQ(SimCsv::Field("plain"), "plain");
	EXPECT_EQ(SimCsv::Field("a,b"), "\"a,b\"");
	EXPECT_EQ(SimCsv::Field("say \"hi\""), "\"say \"\"hi\"\"\"");
	EXPECT_EQ(SimCsv::HeaderRow(), Header + "\n");
	FSimFrameStats S;
	S.DeltaSeconds = 1.0 / 60.0;
	S.GameThreadSeconds = 0.00025;
	S.RenderThreadSeconds = 0.0;
	S.DrawCalls = 11;
	S.PrimitivesDrawn = 123456789012;
	S.PieActorCount = 17;
	EXPECT_EQ(SimCsv::StatsRow(S), "16.6667,0.2500,0.0000,11,123456789012,17\n");
	EXPECT_EQ(SimCsv::MetadataRow({{"HasHeaderRowAtEnd", "1"}, {"commandline", "-a, -b"}}), "[HasHeaderRowAtEnd],1,[commandline],\"-a, -b\"\n");
}

TEST(SimCsvProfiler, ACaptureAskedForInAFrameRecordsTheFramesAfterItUpToTheOneThatEndsIt)
{
	FScratch Out;
	auto Host = MakeArenaHost();
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	ASSERT_TRUE(Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	FCsvProfiler* Profiler = FCsvProfiler::Get();
	ASSERT_EQ(Profiler, &Host->GetCsvProfiler());

	// As a session does: begin on one tick, end on a later one, from the core ticker.
	int Tick = 0;
	std::shared_future<std::string> Done;
	const FTSTicker::FDelegateHandle H = FTSTicker::GetCoreTicker().AddTicker("ProfileSomeFrames", 0.0f, [&](float) {
		++Tick;
		if (Tick == 1)
		{
			EXPECT_FALSE(Profiler->IsCapturing());
			Profiler->BeginCapture(-1, Out.Dir.string(), "pie_test.csv");
			EXPECT_FALSE(Profiler->IsCapturing()) << "a capture starts with the next frame";
		}
		if (Tick == 2)
		{
			EXPECT_TRUE(Profiler->IsCapturing());
		}
		if (Tick == 31)
		{
			Done = Profiler->EndCapture();
			EXPECT_NE(Done.wait_for(std::chrono::seconds(0)), std::future_status::ready) << "the file is completed at the frame's end";
		}
		return Tick < 31;
	});
	Host->StepFrames(35);
	FTSTicker::GetCoreTicker().RemoveTicker(H);
	ASSERT_TRUE(Done.valid());
	ASSERT_EQ(Done.wait_for(std::chrono::seconds(0)), std::future_status::ready);
	const std::string Path = Done.get();
	EXPECT_EQ(Path, (Out.Dir / "pie_test.csv").string());
	EXPECT_FALSE(Profiler->IsCapturing());

	const std::vector<std::string> Lines = ReadLines(Path);
	ASSERT_EQ(Lines.size(), 1u + 30u + 2u) << "header, the 30 frames 2..31, header again, metadata";
	EXPECT_EQ(Lines.front(), Header);
	EXPECT_EQ(Lines[Lines.size() - 2], Header);
	const size_t ActorCount = GEditor->GetPlayWorld()->GetActors().size();
	for (size_t I = 1; I <= 30; ++I)
	{
		const std::vector<std::string> F = SplitCsv(Lines[I]);
		ASSERT_EQ(F.size(), 6u) << Lines[I];
		EXPECT_EQ(F[0], "16.6667");
		EXPECT_GE(std::stod(F[1]), 0.0);
		EXPECT_EQ(F[3], "13") << "the editor view (five props and the enemy) and the PIE view (those and the hero)";
		EXPECT_EQ(F[5], std::to_string(ActorCount));
	}
	const std::string& Meta = Lines.back();
	EXPECT_EQ(Meta.rfind("[HasHeaderRowAtEnd],1,[platform],Linux,", 0), 0u) << Meta;
	EXPECT_NE(Meta.find("[project],Arena"), std::string::npos);
	EXPECT_NE(Meta.find("[clock],virtual"), std::string::npos);
	EXPECT_NE(Meta.find("[starttimestamp],1700000000"), std::string::npos);
	EXPECT_NE(Meta.find("[framecount],30"), std::string::npos);
}

TEST(SimCsvProfiler, ASecondBeginIsIgnoredAndALimitedCaptureEndsItself)
{
	FScratch Out;
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	FCsvProfiler* Profiler = FCsvProfiler::Get();
	Profiler->BeginCapture(3, Out.Dir.string(), "first.csv");
	Host->StepFrame();
	ASSERT_TRUE(Profiler->IsCapturing());
	Profiler->BeginCapture(-1, Out.Dir.string(), "second.csv");
	EXPECT_TRUE(Log.Has("LogCsvProfiler", "BeginCapture ignored: a capture is already running"));
	Host->StepFrames(5);
	EXPECT_FALSE(Profiler->IsCapturing());
	EXPECT_EQ(ReadLines((Out.Dir / "first.csv").string()).size(), 3u + 3u);
	EXPECT_FALSE(fs::exists(Out.Dir / "second.csv"));
	// Nothing runs now: ending answers an empty name at once.
	const std::shared_future<std::string> Nothing = Profiler->EndCapture();
	EXPECT_EQ(Nothing.wait_for(std::chrono::seconds(0)), std::future_status::ready);
	EXPECT_EQ(Nothing.get(), "");
	// Asked for and ended before its first frame: no file.
	Profiler->BeginCapture(-1, Out.Dir.string(), "never.csv");
	EXPECT_EQ(Profiler->EndCapture().get(), "");
	Host->StepFrame();
	EXPECT_FALSE(fs::exists(Out.Dir / "never.csv"));
}

TEST(SimCsvProfiler, DefaultsUnderSavedProfilingAndAnEditorClosingMidCaptureCompletesTheFile)
{
	FTempProject P;
	P.Write("Content/Maps/M.umap", R"({"Type":"World","Actors":[]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/M";
	std::string Path;
	{
		auto Host = MakeHost(P.Path(), Options);
		FCsvProfiler::Get()->BeginCapture();
		Host->StepFrames(4);
		Path = Host->GetCsvProfiler().GetFilePath();
	}
	EXPECT_EQ(Path, (fs::path(P.Path()) / "Saved/Profiling/CSV/Profile(20231114_221320).csv").string());
	const std::vector<std::string> Lines = ReadLines(Path);
	ASSERT_EQ(Lines.size(), 4u + 3u);
	EXPECT_NE(Lines.back().find("[framecount],4"), std::string::npos);
	EXPECT_EQ(FCsvProfiler::Get(), nullptr) << "uninstalled with its editor";
}

TEST(SimCsvProfiler, AFolderThatCannotBeCreatedStartsNothing)
{
	FScratch Out;
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	fs::create_directories(Out.Dir);
	std::ofstream(Out.Dir / "file") << "x";
	FCsvProfiler::Get()->BeginCapture(-1, (Out.Dir / "file" / "sub").string(), "p.csv");
	Host->StepFrame();
	EXPECT_FALSE(FCsvProfiler::Get()->IsCapturing());
	EXPECT_TRUE(Log.Has("LogCsvProfiler", "Capture not started: could not open"));
}

TEST(SimTraceChannels, NamesPresetsRepeatsAndUnknownOnes)
{
	auto Check = [](const std::string& In, std::vector<std::string> Enabled, std::vector<std::string> Unavailable) {
		const FTraceChannelSelection S = ParseTraceChannels(In);
		EXPECT_EQ(S.Enabled, Enabled) << In;
		EXPECT_EQ(S.Unavailable, Unavailable) << In;
	};
	Check("Frame,log , BOOKMARK", {"Frame", "Log", "Bookmark"}, {});
	Check("default", {"Frame", "Log", "Bookmark"}, {"CPU", "GPU", "Screenshot", "Region"});
	Check("cpu,Foo,frame,Frame,,", {"Frame"}, {"CPU", "Foo"});
	Check("", {}, {});
	EXPECT_EQ(ResolveTraceFile("pie_x", "/p/Saved/"), "/p/Saved/Profiling/pie_x.utrace");
	EXPECT_EQ(ResolveTraceFile("sub/pie_x.utrace", "/p/Saved/"), "/p/Saved/Profiling/sub/pie_x.utrace");
	EXPECT_EQ(ResolveTraceFile("/abs/t.trace", "/p/Saved/"), "/abs/t.trace");
}

TEST(SimTrace, AFileTraceRecordsFramesLogLinesFromAnyThreadAndBookmarks)
{
	FScratch Out;
	auto Host = MakeArenaHost();
	const std::string Target = (Out.Dir / "pie_trace").string();
	ASSERT_TRUE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, Target, "frame,Log,Bookmark,CPU"));
	EXPECT_TRUE(FTraceAuxiliary::IsConnected());
	EXPECT_EQ(FTraceAuxiliary::GetTraceDestinationString(), Target + ".utrace");
	EXPECT_FALSE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, Target + "_2", "Frame")) << "already connected";
	EXPECT_EQ(FTraceAuxiliary::GetTraceDestinationString(), Target + ".utrace");

	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrames(5);
	FLogCategory LogTest("LogTraceTest");
	std::thread Other([&] { TW_LOG(LogTest, Warning, "from another thread"); });
	Other.join();
	FMiscTrace::OutputBookmark("checkpoint");
	GEditor->RequestEndPlayMap();
	Host->StepFrames(2);
	EXPECT_TRUE(FTraceAuxiliary::Stop());
	EXPECT_FALSE(FTraceAuxiliary::Stop());
	EXPECT_FALSE(FTraceAuxiliary::IsConnected());
	EXPECT_EQ(FTraceAuxiliary::GetTraceDestinationString(), "");
	TW_LOG(LogTest, Warning, "after the trace");

	const std::vector<FSimJson> Events = ReadEvents(Target + ".utrace");
	ASSERT_GT(Events.size(), 10u);
	EXPECT_EQ(Events.front()["format"], "tarnwick-trace");
	EXPECT_EQ(Events.front()["channels"], FSimJson::array({"Frame", "Log", "Bookmark"}));
	EXPECT_EQ(Events.front()["unavailable_channels"], FSimJson::array({"CPU"}));
	EXPECT_EQ(Events.back()["event"], "end");
	EXPECT_EQ(Events.back()["events"], Events.size() - 1);
	EXPECT_EQ(CountEvents(Events, "frame_begin"), 7u);
	EXPECT_EQ(CountEvents(Events, "frame_end"), 7u);
	std::vector<std::string> Bookmarks, Messages;
	double Last = 0.0;
	for (const FSimJson& E : Events)
	{
		if (E.value("event", "") == "bookmark") Bookmarks.push_back(E["name"]);
		if (E.value("event", "") == "log") Messages.push_back(E["category"].get<std::string>() + ": " + E["message"].get<std::string>());
		if (E.value("event", "") == "frame_begin")
		{
			EXPECT_GT(E["t"].get<double>(), Last) << "frames on the virtual clock";
			Last = E["t"].get<double>();
		}
	}
	EXPECT_EQ(Bookmarks, (std::vector<std::string>{"PIE Begin Play", "checkpoint", "PIE End"}));
	EXPECT_NE(std::find(Messages.begin(), Messages.end(), "LogTraceTest: from another thread"), Messages.end());
	EXPECT_EQ(std::find(Messages.begin(), Messages.end(), "LogTraceTest: after the trace"), Messages.end());
}

TEST(SimTrace, OnlyTheChosenChannelsAreWrittenAndOnlyFilesConnect)
{
	FScratch Out;
	auto Host = MakeArenaHost();
	EXPECT_FALSE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::Network, "localhost", "Frame"));
	const std::string Target = (Out.Dir / "frames.utrace").string();
	ASSERT_TRUE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, Target, "Frame"));
	FLogCategory LogTest("LogTraceTest");
	TW_LOG(LogTest, Warning, "not traced");
	FMiscTrace::OutputBookmark("not traced either");
	Host->StepFrames(3);
	ASSERT_TRUE(FTraceAuxiliary::Stop());
	const std::vector<FSimJson> Events = ReadEvents(Target);
	EXPECT_EQ(Events.size(), 1u + 6u + 1u);
	EXPECT_EQ(CountEvents(Events, "log") + CountEvents(Events, "bookmark"), 0u);

	// A file that cannot be opened connects nothing.
	std::ofstream(Out.Dir / "blocker") << "x";
	EXPECT_FALSE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, (Out.Dir / "blocker" / "t").string(), "Frame"));
	EXPECT_FALSE(FTraceAuxiliary::IsConnected());
}
