// The Python plug-in of the simulated editor: when it is loaded, what a command returns (printed output, log
// lines, the exception text), and the `unreal` module acting on the live editor and PIE worlds. A build without
// Python is checked for its own answer instead.
#include "SimTestUtils.h"

#include "PythonScriptPlugin.h"
#include "Python/SimPythonCapture.h"
#include "Python/SimPythonInterpreter.h"
#include "SimPythonNames.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
struct FRun
{
	bool bOk = false;
	std::string Result;
	std::vector<FPythonLogOutputEntry> Log;
};

FRun RunPython(const std::string& Source, EPythonCommandExecutionMode Mode = EPythonCommandExecutionMode::ExecuteFile)
{
	FPythonCommandEx Command;
	Command.Command = Source;
	Command.ExecutionMode = Mode;
	IPythonScriptPlugin* Plugin = IPythonScriptPlugin::Get();
	EXPECT_TRUE(Plugin);
	FRun Out;
	Out.bOk = Plugin && Plugin->ExecPythonCommandEx(Command);
	Out.Result = Command.CommandResult;
	Out.Log = Command.LogOutput;
	return Out;
}

/** Skips the test in a build without Python, after checking that such a build says so. */
#define REQUIRE_PYTHON()                                                                      \
	do                                                                                        \
	{                                                                                         \
		if (!IPythonScriptPlugin::Get()->IsPythonAvailable())                                  \
		{                                                                                     \
			const FRun Unavailable = RunPython("print(1)");                                   \
			EXPECT_FALSE(Unavailable.bOk);                                                    \
			EXPECT_EQ(Unavailable.Result, "Python not available in this build.");             \
			GTEST_SKIP() << "built without Python";                                           \
		}                                                                                     \
	} while (0)

UWorld* StartPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	return GEditor->GetPlayWorld();
}
}

TEST(SimPythonNames, EngineStylePythonNames)
{
	const std::pair<std::pair<const char*, bool>, const char*> Cases[] = {
		{{"Health", false}, "health"},
		{{"MaxWalkSpeed", false}, "max_walk_speed"},
		{{"bIsSprinting", true}, "is_sprinting"},
		{{"bIsSprinting", false}, "b_is_sprinting"},
		{{"b", true}, "b"},
		{{"AIControllerClass", false}, "ai_controller_class"},
		{{"RelativeScale3D", false}, "relative_scale3d"},
		{{"UEDPIEName", false}, "uedpie_name"},
		{{"already_snake", false}, "already_snake"},
	};
	for (const auto& [In, Expected] : Cases) EXPECT_EQ(PythonizePropertyName(In.first, In.second), Expected) << In.first;
}

TEST(SimPythonCapture, LinesKeepTheOrderTheyWereWrittenInAndReachTheLog)
{
	FLogRecorder Log;
	FPythonCommandEx Command;
	{
		Python::FOutputCapture Capture(Command);
		Python::FOutputCapture::Write("partial ", false);
		Python::FOutputCapture::Write("line\nsecond", false);
		Python::FOutputCapture::Message(EPythonLogOutputType::Warning, "careful");
		Python::FOutputCapture::Write("err\n", true);
		Python::FOutputCapture::Write("tail", false);
	}
	EXPECT_EQ(Command.CommandResult, "partial line\nsecond\ncareful\nerr\ntail\n");
	ASSERT_EQ(Command.LogOutput.size(), 5u);
	EXPECT_EQ(Command.LogOutput[2].Type, EPythonLogOutputType::Warning);
	EXPECT_EQ(Command.LogOutput[3].Type, EPythonLogOutputType::Error);
	EXPECT_TRUE(Log.Has("LogPython", "careful"));
	// Outside a command, lines only go to the log.
	Python::FOutputCapture::Message(EPythonLogOutputType::Info, "two\nlines");
	EXPECT_TRUE(Log.Has("LogPython", "two"));
	EXPECT_TRUE(Log.Has("LogPython", "lines"));
	EXPECT_EQ(Command.LogOutput.size(), 5u);
}

TEST(SimPythonPlugin, LoadedOnlyWhenTheProjectEnablesIt)
{
	{
		auto Host = MakeArenaHost();
		EXPECT_TRUE(IPythonScriptPlugin::Get());
	}
	EXPECT_EQ(IPythonScriptPlugin::Get(), nullptr);
	for (const char* Plugins : {"", R"(, "Plugins": [{"Name": "PythonScriptPlugin", "Enabled": false}])"})
	{
		FTempProject P;
		P.Write("P.uproject", std::string(R"({"FileVersion": 3)") + Plugins + "}");
		std::filesystem::remove(std::filesystem::path(P.Path()) / "Test.uproject");
		auto Host = MakeHost(P.Path());
		EXPECT_EQ(IPythonScriptPlugin::Get(), nullptr) << Plugins;
	}
}

TEST(SimPython, AProbeReadsTheHerosHealthAndLogsIt)
{
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	REQUIRE_PYTHON();
	StartPie(*Host);
	const FRun Run = RunPython(R"(import unreal
hero = unreal.get_player_pawn()
unreal.log(f"hero health {hero.get_editor_property('Health')} as {hero.get_actor_label()}")
print("speed", hero.get_editor_property("character_movement").get_editor_property("max_walk_speed"))
)");
	EXPECT_TRUE(Run.bOk) << Run.Result;
	EXPECT_EQ(Run.Result, "hero health 100.0 as BP_Hero\nspeed 500.0\n");
	ASSERT_EQ(Run.Log.size(), 2u);
	EXPECT_EQ(Run.Log[0].Type, EPythonLogOutputType::Info);
	EXPECT_EQ(Run.Log[0].Output, "hero health 100.0 as BP_Hero");
	EXPECT_TRUE(Log.Has("LogPython", "hero health 100.0 as BP_Hero"));
	EXPECT_TRUE(Log.Has("LogPython", "Using Python 3."));
}

TEST(SimPython, ARaisingScriptFailsWithItsOutputThenTheTraceback)
{
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	REQUIRE_PYTHON();
	const FRun Run = RunPython("print('before')\nunreal_value = 1\nraise ValueError('boom')\n");
	EXPECT_FALSE(Run.bOk);
	EXPECT_EQ(Run.Result,
		"before\nTraceback (most recent call last):\n  File \"<string>\", line 3, in <module>\n    raise ValueError('boom')\nValueError: boom\n");
	ASSERT_EQ(Run.Log.size(), 2u);
	EXPECT_EQ(Run.Log[1].Type, EPythonLogOutputType::Error);
	EXPECT_TRUE(Log.Has("LogPython", "ValueError: boom"));

	const FRun Syntax = RunPython("def broken(:\n");
	EXPECT_FALSE(Syntax.bOk);
	EXPECT_NE(Syntax.Result.find("SyntaxError"), std::string::npos) << Syntax.Result;
	// Each command has its own globals; a failed one leaves nothing behind.
	const FRun Fresh = RunPython("print(unreal_value)");
	EXPECT_FALSE(Fresh.bOk);
	EXPECT_NE(Fresh.Result.find("NameError: name 'unreal_value' is not defined"), std::string::npos) << Fresh.Result;
	// sys.exit does not end the editor; it is the script's failure.
	const FRun Exit = RunPython("import sys\nsys.exit(3)");
	EXPECT_FALSE(Exit.bOk);
	EXPECT_NE(Exit.Result.find("SystemExit: 3"), std::string::npos) << Exit.Result;
	EXPECT_TRUE(RunPython("print('still here')").bOk);
}

TEST(SimPython, StatementAndExpressionModesAndTheSystemInterpreter)
{
	auto Host = MakeArenaHost();
	REQUIRE_PYTHON();
	EXPECT_EQ(RunPython("6 * 7", EPythonCommandExecutionMode::EvaluateStatement).Result, "42");
	EXPECT_EQ(RunPython("'a' + 'b'", EPythonCommandExecutionMode::ExecuteStatement).Result, "'ab'\n");
	EXPECT_EQ(RunPython("6 * 7", EPythonCommandExecutionMode::ExecuteFile).Result, "");
	const FRun Bad = RunPython("1 +", EPythonCommandExecutionMode::EvaluateStatement);
	EXPECT_FALSE(Bad.bOk);
	EXPECT_NE(Bad.Result.find("SyntaxError"), std::string::npos);
	// The interpreter ignores the environment and the user's site packages.
	EXPECT_EQ(RunPython("import sys; sys.flags.isolated", EPythonCommandExecutionMode::ExecuteStatement).Result, "1\n");
	EXPECT_EQ(RunPython("import sys; print(sys.stderr.write('to stderr\\n'))").Log.front().Type, EPythonLogOutputType::Error);
}

TEST(SimPython, ScriptsWritePropertiesAndMoveActorsThroughReflection)
{
	auto Host = MakeArenaHost();
	REQUIRE_PYTHON();
	UWorld* Pie = StartPie(*Host);
	const FRun Run = RunPython(R"(import unreal
hero = unreal.get_player_pawn()
hero.set_editor_property("health", 42.5)
hero.set_editor_property("bIsSprinting", True)
hero.set_editor_property("score", 2**40)
hero.set_actor_location(unreal.Vector(1, 2, 3))
ball = unreal.find_actor_by_label("Ball")
ball.set_editor_property("tags", ["Target", "Round"])
lamp = unreal.find_actor_by_label("Lamp").get_editor_property("light_component")
lamp.set_editor_property("light_color", {"r": 10})
print(lamp.get_editor_property("light_color"))
print(unreal.get_world_type(), len(unreal.get_all_actors()) > 5, unreal.find_actor_by_label("Nobody"))
)");
	ASSERT_TRUE(Run.bOk) << Run.Result;
	EXPECT_EQ(Run.Result, "{'b': 170, 'g': 214, 'r': 10, 'a': 255}\nPIE True None\n");
	AActor* Hero = Pie->GetFirstPlayerController()->GetPawn();
	EXPECT_EQ(ReadProperty(Hero, "Health").DoubleValue, 42.5);
	EXPECT_TRUE(ReadProperty(Hero, "bIsSprinting").bValue);
	EXPECT_EQ(ReadProperty(Hero, "Score").IntValue, int64{1} << 40);
	EXPECT_EQ(Hero->GetActorLocation(), FVector(1, 2, 3));
	EXPECT_EQ(ReadProperty(FindActor(Pie, "Ball"), "Tags").Elements.size(), 2u);
	// The editor world is untouched by a script run during PIE.
	EXPECT_EQ(ReadProperty(FindActor(GEditor->GetEditorWorld(), "Ball"), "Tags").Elements.size(), 0u);

	const std::pair<const char*, const char*> Refused[] = {
		{"hero.set_editor_property('health', 'full')", "TypeError: property 'Health' takes a number, not str"},
		{"hero.set_editor_property('jump_max_count', 2**40)", "OverflowError: property 'JumpMaxCount' is a 32-bit integer"},
		{"hero.get_editor_property('mana')", "AttributeError: BP_Hero_C has no property 'mana'"},
		{"hero.set_editor_property('controller', unreal.find_actor_by_label('Ball'))", "ValueError: cannot set 'Controller'"},
		{"unreal.find_actor_by_label('Ball').get_actor_label().no_such", "AttributeError"},
		{"unreal.get_player_pawn().get_class().get_actor_label()", "TypeError: 'BP_Hero_C' is not an actor"},
	};
	for (const auto& [Line, Expected] : Refused)
	{
		const FRun R = RunPython(std::string("import unreal\nhero = unreal.get_player_pawn()\n") + Line);
		EXPECT_FALSE(R.bOk) << Line;
		EXPECT_NE(R.Result.find(Expected), std::string::npos) << Line << "\n" << R.Result;
	}
}

TEST(SimPython, HandlesOutliveTheirObjectsAndConsoleCommandsReachTheGame)
{
	auto Host = MakeArenaHost();
	REQUIRE_PYTHON();
	UWorld* Pie = StartPie(*Host);
	const FRun Slomo = RunPython("import unreal\nprint(repr(unreal.execute_console_command('slomo 0.5')))\n"
								 "print(unreal.execute_console_command('no_such_command'))\n"
								 "import builtins\nbuiltins.kept_hero = unreal.get_player_pawn()");
	ASSERT_TRUE(Slomo.bOk) << Slomo.Result;
	EXPECT_DOUBLE_EQ(Pie->GetGlobalTimeDilation(), 0.5);
	EXPECT_EQ(Slomo.Result, "''\nCommand not recognized: no_such_command\n");

	GEditor->RequestEndPlayMap();
	Host->StepFrames(2);
	ASSERT_EQ(GEditor->GetPlayWorld(), nullptr);
	const FRun Stale = RunPython("print(kept_hero.is_valid(), kept_hero)\nkept_hero.get_name()");
	EXPECT_FALSE(Stale.bOk);
	EXPECT_NE(Stale.Result.find("False <unreal.Object (destroyed)>"), std::string::npos) << Stale.Result;
	EXPECT_NE(Stale.Result.find("RuntimeError: the object behind this handle has been destroyed"), std::string::npos) << Stale.Result;
	// Without PIE scripts act on the editor world, and console commands go straight to the engine.
	EXPECT_EQ(RunPython("import unreal; unreal.get_world_type()", EPythonCommandExecutionMode::ExecuteStatement).Result, "'Editor'\n");
	EXPECT_EQ(RunPython("import unreal; print(unreal.execute_console_command('nope'))").Result, "Command not recognized: nope\n");
	EXPECT_FALSE(RunPython("import unreal; unreal.Object()").bOk) << "handles come only from the module";
}

TEST(SimPython, AnEditorCanStartItsInterpreterAtLaunch)
{
	// The interpreter belongs to the process: only a process that has not run Python yet can see it start.
	const bool bStartedBefore = Python::IsStarted();
	{
		auto Host = MakeArenaHost();
		REQUIRE_PYTHON();
		EXPECT_EQ(Python::IsStarted(), bStartedBefore) << "an editor starts Python on the first command by default";
	}
	FLogRecorder Log;
	FSimHostOptions Options;
	Options.bStartPythonAtLaunch = true;
	auto Host = MakeArenaHost(Options);
	EXPECT_TRUE(Python::IsStarted());
	if (!bStartedBefore)
	{
		EXPECT_LT(Log.IndexOf("LogPython", "Using Python"), Log.IndexOf("LogInit", "Engine is initialized"));
	}
	EXPECT_TRUE(RunPython("pass").bOk);
}
