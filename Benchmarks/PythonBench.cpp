// Speed of the Python plug-in: the interpreter's start (once per process, so measured once, first), and a
// probe that logs one line in a running PIE world. Figures are recorded in docs/performance.md.
#include "PythonScriptPlugin.h"
#include "SimHost.h"

#include <benchmark/benchmark.h>

#include <chrono>

using namespace Tarnwick::Sim;

namespace
{
std::unique_ptr<FSimHost> GHost;

bool EnsureHost()
{
	if (GHost) return true;
	const char* Dir = std::getenv("TARNWICK_SOURCE_DIR");
	FSimHostOptions Options;
	Options.ProjectDir = std::string(Dir ? Dir : ".") + "/Samples/Arena";
	Options.ClockMode = ESimClockMode::Virtual;
	std::string Error;
	GHost = FSimHost::Create(Options, &Error);
	if (!GHost) return false;
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	return GHost->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 100);
}

/** The first command of the process, which starts the interpreter, less the same command once it runs. */
void BM_PythonInterpreterStart(benchmark::State& State)
{
	if (!EnsureHost() || !IPythonScriptPlugin::Get() || !IPythonScriptPlugin::Get()->IsPythonAvailable())
	{
		return State.SkipWithError("no Python in this build");
	}
	for (auto _ : State)
	{
		const auto Start = std::chrono::steady_clock::now();
		IPythonScriptPlugin::Get()->ExecPythonCommand("pass");
		State.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - Start).count());
	}
}
BENCHMARK(BM_PythonInterpreterStart)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

/** A probe as a smoke session runs one: find the hero, read its health, log it. */
void BM_PythonProbeLogsOneLine(benchmark::State& State)
{
	if (!EnsureHost() || !IPythonScriptPlugin::Get()->IsPythonAvailable()) return State.SkipWithError("no Python in this build");
	FPythonCommandEx Command;
	Command.Command = "import unreal\nhero = unreal.get_player_pawn()\nunreal.log(f\"hero health {hero.get_editor_property('health')}\")\n";
	for (auto _ : State)
	{
		if (!IPythonScriptPlugin::Get()->ExecPythonCommandEx(Command)) State.SkipWithError(Command.CommandResult.c_str());
	}
}
BENCHMARK(BM_PythonProbeLogsOneLine)->Unit(benchmark::kMicrosecond);

void BM_PythonCommandPass(benchmark::State& State)
{
	if (!EnsureHost() || !IPythonScriptPlugin::Get()->IsPythonAvailable()) return State.SkipWithError("no Python in this build");
	for (auto _ : State) IPythonScriptPlugin::Get()->ExecPythonCommand("pass");
}
BENCHMARK(BM_PythonCommandPass)->Unit(benchmark::kMicrosecond);
}

int main(int Argc, char** Argv)
{
	benchmark::Initialize(&Argc, Argv);
	benchmark::RunSpecifiedBenchmarks();
	benchmark::Shutdown();
	GHost.reset();
	return 0;
}
