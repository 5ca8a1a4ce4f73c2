// Console commands of the simulated engine, through GEngine->Exec and a player controller's ConsoleCommand:
// pause, slomo, stat, log, showflag, viewmode, echo, and what an unknown command answers.
#include "SimConsole.h"
#include "SimTestUtils.h"

#include "Engine.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
class SimConsole : public ::testing::Test
{
protected:
	void SetUp() override
	{
		Host = MakeArenaHost();
		ASSERT_TRUE(Host);
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		ASSERT_TRUE(Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
		World = GEditor->GetPlayWorld();
		PC = World->GetFirstPlayerController();
		ASSERT_TRUE(PC);
	}
	bool Exec(const std::string& Cmd, std::string* OutText = nullptr)
	{
		FStringOutputDevice Out;
		const bool bOk = GEngine->Exec(World, Cmd, Out);
		if (OutText) *OutText = Out.GetText();
		return bOk;
	}

	std::unique_ptr<FSimHost> Host;
	UWorld* World = nullptr;
	APlayerController* PC = nullptr;
};
}

TEST(SimConsoleWords, SplitsAtBlanksKeepingQuotedText)
{
	EXPECT_EQ(SplitConsoleCommand("  stat   fps "), (std::vector<std::string>{"stat", "fps"}));
	EXPECT_EQ(SplitConsoleCommand("echo LogArena Warning \"two words\" x"),
		(std::vector<std::string>{"echo", "LogArena", "Warning", "two words", "x"}));
	EXPECT_TRUE(SplitConsoleCommand("   ").empty());
}

TEST_F(SimConsole, GEngineIsTheEditor)
{
	EXPECT_EQ(GEngine, static_cast<UEngine*>(GEditor));
}

TEST_F(SimConsole, PauseTogglesAndSlomoSetsTheClampedDilation)
{
	EXPECT_TRUE(Exec("pause"));
	EXPECT_TRUE(World->IsPaused());
	EXPECT_TRUE(Exec("PAUSE"));
	EXPECT_FALSE(World->IsPaused());
	EXPECT_TRUE(Exec("slomo 0.5"));
	EXPECT_DOUBLE_EQ(World->GetGlobalTimeDilation(), 0.5);
	EXPECT_TRUE(Exec("slomo 1000"));
	EXPECT_DOUBLE_EQ(World->GetGlobalTimeDilation(), 20.0);
	std::string Text;
	EXPECT_TRUE(Exec("slomo fast", &Text));
	EXPECT_EQ(Text, "Usage: slomo <time dilation>");
	EXPECT_DOUBLE_EQ(World->GetGlobalTimeDilation(), 20.0);
}

TEST_F(SimConsole, GameCommandsAreNotRecognisedOnTheEditorWorld)
{
	EXPECT_FALSE(GEngine->Exec(GEditor->GetEditorWorld(), "pause", *GLog));
	EXPECT_FALSE(GEngine->Exec(GEditor->GetEditorWorld(), "slomo 2", *GLog));
	EXPECT_FALSE(GEngine->Exec(GEditor->GetEditorWorld(), "exit", *GLog));
	EXPECT_DOUBLE_EQ(GEditor->GetEditorWorld()->GetGlobalTimeDilation(), 1.0);
}

TEST_F(SimConsole, StatPrintsFiguresWhenShownAndToggles)
{
	std::string Text;
	EXPECT_TRUE(Exec("stat fps", &Text));
	EXPECT_EQ(Text, "60.00 FPS (16.67 ms)");
	auto* Game = dynamic_cast<FSimViewport*>(GEditor->GetGameViewport());
	ASSERT_TRUE(Game);
	EXPECT_TRUE(Game->Stats.count("fps"));
	EXPECT_TRUE(Exec("stat fps", &Text));
	EXPECT_EQ(Text, "");
	EXPECT_FALSE(Game->Stats.count("fps"));
	EXPECT_TRUE(Exec("stat unit", &Text));
	EXPECT_EQ(Text, "Frame: 16.67 ms  Game: 16.67 ms  Draw: 0.00 ms  GPU: 0.00 ms");
	EXPECT_TRUE(Exec("stat none"));
	EXPECT_TRUE(Game->Stats.empty());
	EXPECT_FALSE(Exec("stat everything"));
}

TEST_F(SimConsole, LogSetsACategoryVerbosity)
{
	FLogCategory Category("LogConsoleTestCategory");
	std::string Text;
	EXPECT_TRUE(Exec("log LogConsoleTestCategory Verbose", &Text));
	EXPECT_EQ(Category.GetVerbosity(), ELogVerbosity::Verbose);
	EXPECT_EQ(Text, "LogConsoleTestCategory Verbose");
	EXPECT_TRUE(Exec("log logconsoletestcategory", &Text));
	EXPECT_EQ(Text, "LogConsoleTestCategory Verbose");
	EXPECT_TRUE(Exec("log LogConsoleTestCategory shouting", &Text));
	EXPECT_NE(Text.find("Unknown verbosity 'shouting'"), std::string::npos);
	EXPECT_EQ(Category.GetVerbosity(), ELogVerbosity::Verbose);
	EXPECT_TRUE(Exec("log LogNobodyDeclared Log", &Text));
	EXPECT_EQ(Text, "Unknown log category 'LogNobodyDeclared'");
}

TEST_F(SimConsole, ShowFlagsAndViewModeChangeTheGameViewport)
{
	auto* Game = dynamic_cast<FSimViewport*>(GEditor->GetGameViewport());
	ASSERT_TRUE(Game);
	EXPECT_TRUE(Exec("showflag.collision 1"));
	EXPECT_TRUE(Game->ShowFlags.at("collision"));
	std::string Text;
	EXPECT_TRUE(Exec("ShowFlag.Collision", &Text));
	EXPECT_EQ(Text, "ShowFlag.Collision = 1");
	EXPECT_TRUE(Exec("showflag.collision 2"));
	EXPECT_FALSE(Game->ShowFlags.count("collision"));
	EXPECT_FALSE(Exec("showflag.sparkles 1"));
	EXPECT_TRUE(Exec("viewmode wireframe"));
	EXPECT_EQ(Game->ViewModeIndex, EViewModeIndex::VMI_Wireframe);
	EXPECT_FALSE(Exec("viewmode sepia"));
	// The level viewport is untouched by the game's view mode.
	EXPECT_EQ(GEditor->GetCurrentLevelEditingViewportClient()->GetViewModeIndex(), EViewModeIndex::VMI_Lit);
}

TEST_F(SimConsole, EchoWritesTheChosenLineToTheLog)
{
	FLogRecorder Log;
	EXPECT_TRUE(Exec("echo LogArenaEcho Warning The crate is   on fire"));
	const auto Lines = Log.Snapshot();
	ASSERT_EQ(Lines.size(), 1u);
	EXPECT_EQ(Lines[0].Category, "LogArenaEcho");
	EXPECT_EQ(Lines[0].Verbosity, ELogVerbosity::Warning);
	EXPECT_EQ(Lines[0].Message, "The crate is   on fire");
	// The category it made is a real one now: the log command finds it and its filter applies.
	EXPECT_TRUE(Exec("log LogArenaEcho Error"));
	EXPECT_TRUE(Exec("echo LogArenaEcho Warning filtered out"));
	EXPECT_EQ(Log.Snapshot().size(), 1u);
	std::string Text;
	EXPECT_TRUE(Exec("echo LogArenaEcho Fatal boom", &Text));
	EXPECT_NE(Text.find("Unknown verbosity 'Fatal'"), std::string::npos);
}

TEST_F(SimConsole, PlayerConsoleCommandAnswersUnknownCommandsAsTheEngineDoes)
{
	FLogRecorder Log;
	EXPECT_EQ(PC->ConsoleCommand("summon Dragon"), "Command not recognized: summon Dragon");
	EXPECT_TRUE(Log.Has("LogConsoleResponse", "Command not recognized: summon Dragon"));
	EXPECT_EQ(PC->ConsoleCommand("  frobnicate  ", false), "Command not recognized: frobnicate");
	EXPECT_FALSE(Log.Has("LogConsoleResponse", "frobnicate"));
	EXPECT_EQ(PC->ConsoleCommand("stat fps", false), "60.00 FPS (16.67 ms)");
	EXPECT_EQ(PC->ConsoleCommand("pause"), "");
	EXPECT_TRUE(World->IsPaused());
}

TEST_F(SimConsole, ExitEndsPlayInEditor)
{
	EXPECT_TRUE(Exec("exit"));
	Host->StepFrame();
	EXPECT_EQ(GEditor->GetPlayWorld(), nullptr);
}
