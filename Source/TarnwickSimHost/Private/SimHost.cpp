#include "SimHost.h"
#include "SimAbilitySystem.h"
#include "SimBlackboard.h"
#include "SimFileUtils.h"
#include "SimPathFollowing.h"

#include "EditorPerformanceSettings.h"
#include "GameThread.h"
#include "Logging.h"
#include "Paths.h"
#include "Printf.h"
#include "Ticker.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogInit("LogInit");
FLogCategory LogEditorServer("LogEditorServer");
FLogCategory LogInput("LogInput");

double RealSeconds()
{
	return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

FSimJson DumpObjectValues(const UObject* Object)
{
	FSimJson Out = FSimJson::object();
	const FSimObjectState* State = GetSimState(Object);
	if (!State || !State->Class) return Out;
	const std::vector<const FProperty*> Props = State->Class->GetProperties();
	for (size_t I = 0; I < Props.size() && I < State->Values.size(); ++I)
	{
		Out[Props[I]->Name] = PropertyValueToJson(State->Values[I]);
	}
	return Out;
}

FSimJson Triple(double A, double B, double C) { return FSimJson::array({A, B, C}); }
}

bool ParseClockMode(const std::string& Text, ESimClockMode& OutMode)
{
	if (Text == "realtime") OutMode = ESimClockMode::Realtime;
	else if (Text == "virtual") OutMode = ESimClockMode::Virtual;
	else return false;
	return true;
}

const FIniFile* FSimProject::FindConfig(const std::string& Name) const
{
	for (const auto& [ConfigName, Ini] : Configs)
	{
		if (ConfigName == Name) return &Ini;
	}
	return nullptr;
}

std::optional<FSimProject> LoadProject(const std::string& ProjectDir, std::string* OutError)
{
	namespace fs = std::filesystem;
	auto Fail = [&](std::string Why) -> std::optional<FSimProject> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	std::error_code Ec;
	const fs::path Dir = fs::absolute(ProjectDir, Ec).lexically_normal();
	if (Ec || !fs::is_directory(Dir, Ec)) return Fail(Tarnwick::Printf("project folder '%s' does not exist", ProjectDir.c_str()));
	std::vector<fs::path> Descriptors;
	for (const fs::directory_entry& E : fs::directory_iterator(Dir, Ec))
	{
		if (E.is_regular_file() && E.path().extension() == ".uproject") Descriptors.push_back(E.path());
	}
	std::sort(Descriptors.begin(), Descriptors.end());
	if (Descriptors.empty()) return Fail(Tarnwick::Printf("project folder '%s' holds no .uproject file", ProjectDir.c_str()));
	if (Descriptors.size() > 1)
	{
		return Fail(Tarnwick::Printf("project folder '%s' holds %d .uproject files; it must hold exactly one", ProjectDir.c_str(),
			static_cast<int>(Descriptors.size())));
	}
	FSimProject Project;
	Project.Dir = Dir.generic_string();
	if (Project.Dir.back() != '/') Project.Dir.push_back('/');
	std::string Text;
	const std::string Label = Descriptors.front().filename().string();
	if (!ReadTextFile(Descriptors.front(), Text)) return Fail(Label + ": cannot be read");
	std::string Error;
	std::optional<FProjectDescriptor> Descriptor = ParseProjectDescriptor(Descriptors.front().stem().string(), Text, Label, &Error);
	if (!Descriptor) return Fail(Error);
	Project.Descriptor = std::move(*Descriptor);
	if (!fs::is_directory(Dir / "Content", Ec)) return Fail(Tarnwick::Printf("project '%s' has no Content/ folder", Project.Descriptor.Name.c_str()));
	std::vector<fs::path> Inis;
	for (const fs::directory_entry& E : fs::directory_iterator(Dir / "Config", Ec))
	{
		if (E.is_regular_file() && E.path().extension() == ".ini") Inis.push_back(E.path());
	}
	std::sort(Inis.begin(), Inis.end());
	for (const fs::path& Ini : Inis)
	{
		if (!ReadTextFile(Ini, Text)) return Fail("Config/" + Ini.filename().string() + ": cannot be read");
		Project.Configs.emplace_back(Ini.stem().string(), ParseIni(Text));
	}
	return Project;
}

std::unique_ptr<FSimHost> FSimHost::Create(const FSimHostOptions& Options, std::string* OutError)
{
	if (GEditor)
	{
		if (OutError) *OutError = "another editor host is already installed in this process";
		return nullptr;
	}
	std::optional<FSimProject> Project = LoadProject(Options.ProjectDir, OutError);
	if (!Project) return nullptr;
	if (Options.ClockMode == ESimClockMode::Virtual && !(Options.FixedDeltaSeconds > 0.0))
	{
		if (OutError) *OutError = "the virtual clock needs a positive frame delta";
		return nullptr;
	}
	if (Options.ClockMode == ESimClockMode::Realtime && !(Options.TargetFrameRate > 0.0))
	{
		if (OutError) *OutError = "the target frame rate must be positive";
		return nullptr;
	}
	std::unique_ptr<FSimHost> Host(new FSimHost());
	Host->Options = Options;
	Host->Project = std::move(*Project);

	FSimEditorSettings Settings;
	std::string StartupMap;
	if (const FIniFile* Engine = Host->Project.FindConfig("DefaultEngine"))
	{
		const std::string Section = "/Script/EngineSettings.GameMapsSettings";
		if (auto V = Engine->GetString(Section, "GlobalDefaultGameMode")) Settings.GlobalDefaultGameMode = *V;
		if (auto V = Engine->GetString(Section, "EditorStartupMap")) StartupMap = *V;
	}
	if (const FIniFile* EditorIni = Host->Project.FindConfig("DefaultEditor"))
	{
		if (auto V = EditorIni->GetString("/Script/UnrealEd.LevelEditorPlaySettings", "PIELoadFrames")) Settings.PIELoadFrames = std::atoi(V->c_str());
		const std::string Viewports = "/Script/UnrealEd.LevelEditorViewportSettings";
		if (auto V = EditorIni->GetString(Viewports, "ViewportWidth")) Settings.ViewportSize.X = std::max(0, std::atoi(V->c_str()));
		if (auto V = EditorIni->GetString(Viewports, "ViewportHeight")) Settings.ViewportSize.Y = std::max(0, std::atoi(V->c_str()));
	}
	std::vector<std::string> InputProblems;
	if (const FIniFile* InputIni = Host->Project.FindConfig("DefaultInput")) Settings.InputSettings = ParseInputSettings(*InputIni, &InputProblems);
	if (Options.PIELoadFrames >= 0) Settings.PIELoadFrames = Options.PIELoadFrames;
	Settings.ModalTimeoutFrames = std::max(0, Options.ModalTimeoutFrames);
	Settings.bHiddenEditor = Options.bHiddenEditor;
	if (!Options.StartupMap.empty()) StartupMap = Options.StartupMap;

	if (Options.ClockMode == ESimClockMode::Virtual)
	{
		const double Utc = Options.VirtualUtcStart > 0.0 ? Options.VirtualUtcStart : Tarnwick::Host::FRealtimeClock().UtcNow();
		Host->VirtualClock = std::make_unique<FSimVirtualClock>(1.0, Utc);
	}
	Host->Registry = std::make_unique<FSimObjectRegistry>(Host->Project.Dir);
	Host->Quiescence = std::make_unique<FSimQuiescence>();
	if (IsPythonPluginEnabled(Host->Project.Descriptor.Plugins)) Host->PythonPlugin = std::make_unique<FSimPythonPlugin>();
	Host->CsvProfiler = std::make_unique<FSimCsvProfiler>(Host->Project.Descriptor.Name,
		Options.ClockMode == ESimClockMode::Virtual ? "virtual" : "realtime");
	Host->Trace = std::make_unique<FSimTrace>();
	Host->Install();
	Host->RenderThread = std::make_unique<FSimRenderThread>();
	Tarnwick::Host::SetRenderingThread(Host->RenderThread.get());
	Host->Editor = std::make_unique<FSimEditor>(*Host->Registry, *Host->Quiescence, Settings);
	Tarnwick::Host::SetEditor(Host->Editor.get());

	TW_LOG(LogInit, Display, "Running engine for game: %s", Host->Project.Descriptor.Name.c_str());
	for (const std::string& Problem : InputProblems)
	{
		TW_LOG(LogInput, Warning, "Config/DefaultInput.ini: %s; the mapping is ignored", Problem.c_str());
	}
	TW_LOG(LogInit, Log, "Project file: %s%s.uproject", Host->Project.Dir.c_str(), Host->Project.Descriptor.Name.c_str());
	if (Options.ClockMode == ESimClockMode::Virtual)
	{
		TW_LOG(LogInit, Log, "Clock: virtual, %.6f seconds per frame", Options.FixedDeltaSeconds);
	}
	else
	{
		TW_LOG(LogInit, Log, "Clock: real time, %.1f frames per second", Options.TargetFrameRate);
	}
	if (Options.bHiddenEditor) TW_LOG(LogInit, Display, "Editor window hidden: viewports are not drawn");
	if (StartupMap.empty() || StartupMap == "none")
	{
		Host->Editor->NewMap();
	}
	else
	{
		std::string Error;
		if (!Host->Editor->LoadMap(StartupMap, &Error))
		{
			TW_LOG(LogEditorServer, Error, "Startup map %s could not be opened; opening an untitled map instead", StartupMap.c_str());
			Host->Editor->NewMap();
		}
	}
	if (Options.bStartPythonAtLaunch && Host->PythonPlugin) Host->PythonPlugin->StartInterpreter();
	TW_LOG(LogInit, Display, "Engine is initialized. Leaving FEngineLoop::Init()");
	Host->RenderThread->Flush();
	return Host;
}

FSimHost::~FSimHost()
{
	// Files still being written are completed while the clock and the log are still installed.
	if (Trace) Trace->Stop();
	CsvProfiler.reset();
	if (Editor) Editor->AnswerModal(false);
	Editor.reset();
	if (Registry) Registry->CollectGarbage();
	Tarnwick::Host::SetRenderingThread(nullptr);
	RenderThread.reset();
	Uninstall();
	Registry.reset();
}

void FSimHost::Install()
{
	if (VirtualClock) Tarnwick::Host::SetClock(VirtualClock.get());
	FPaths::SetProjectDir(Project.Dir);
	Tarnwick::Host::SetObjectSystem(Registry.get());
	Tarnwick::Host::SetQuiescence(Quiescence.get());
	Tarnwick::Host::SetEngineLoop(this);
	Tarnwick::Host::SetPythonScriptPlugin(PythonPlugin.get());
	Tarnwick::Host::SetCsvProfiler(CsvProfiler.get());
	Tarnwick::Host::SetTraceAuxiliary(Trace.get());
	FGameThreadTaskQueue::Get().MarkGameThread();
	bInstalled = true;
}

void FSimHost::Uninstall()
{
	if (!bInstalled) return;
	Tarnwick::Host::SetEditor(nullptr);
	Tarnwick::Host::SetPythonScriptPlugin(nullptr);
	Tarnwick::Host::SetCsvProfiler(nullptr);
	Tarnwick::Host::SetTraceAuxiliary(nullptr);
	Tarnwick::Host::SetEngineLoop(nullptr);
	Tarnwick::Host::SetQuiescence(nullptr);
	Tarnwick::Host::SetObjectSystem(nullptr);
	if (VirtualClock) Tarnwick::Host::SetClock(nullptr);
	bInstalled = false;
}

void FSimHost::StepFrame()
{
	double Delta;
	if (VirtualClock)
	{
		Delta = Options.FixedDeltaSeconds;
		VirtualClock->Advance(Delta);
	}
	else
	{
		const double Now = FPlatformTime::Seconds();
		// A stall (a debugger, a slow call) must not turn into one huge simulation step.
		Delta = LastFrameStart < 0.0 ? 1.0 / Options.TargetFrameRate : std::clamp(Now - LastFrameStart, 0.0, 0.25);
		LastFrameStart = Now;
	}
	DeltaTime = Delta;
	const uint64 Frame = FrameCounter.fetch_add(1, std::memory_order_relaxed) + 1;
	// Frame cost is measured in wall time whatever the clock: it is what the frame took to compute.
	const double WorkStart = RealSeconds();
	Trace->OnFrameBegin(Frame);
	CsvProfiler->BeginFrame(Frame);
	FSimRenderStats DrawStats;
	if (Editor->GetOpenModal())
	{
		// A modal dialog runs its own loop: the engine, its tickers and queued calls all wait for it.
		Editor->TickModal();
	}
	else
	{
		FGameThreadTaskQueue::Get().RunPending();
		Editor->Tick(Delta);
		// As in the engine loop, the core ticker runs after the worlds have ticked: a ticker sees this frame's
		// state, and a step that unpauses the game and re-pauses it N ticks later lets exactly N frames play.
		FTSTicker::GetCoreTicker().Tick(static_cast<float>(Delta));
		// A backgrounded editor that saves CPU draws nothing, as the engine's does.
		if (!IsThrottled())
		{
			Editor->DrawViewports(Frame);
			DrawStats = Editor->GetLastDrawStats();
		}
		Quiescence->Tick();
	}
	const double GameThreadSeconds = RealSeconds() - WorkStart;
	if (RenderThread->HasPendingWork()) RenderThread->Flush();
	Registry->CollectGarbage();
	const double RenderThreadSeconds = RenderThread->ConsumeBusySeconds();
	if (CsvProfiler->IsCapturing())
	{
		FSimFrameStats Stats;
		Stats.DeltaSeconds = Delta;
		Stats.GameThreadSeconds = GameThreadSeconds;
		Stats.RenderThreadSeconds = RenderThreadSeconds;
		Stats.DrawCalls = DrawStats.DrawCalls;
		Stats.PrimitivesDrawn = DrawStats.PrimitivesDrawn;
		if (UWorld* Pie = Editor->GetPlayWorld()) Stats.PieActorCount = static_cast<int32>(Pie->GetActors().size());
		CsvProfiler->EndFrame(Stats);
	}
	Trace->OnFrameEnd(Frame);
}

bool FSimHost::IsThrottled() const
{
	return !bHasFocus && UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground;
}

void FSimHost::StepFrames(int32 Count)
{
	for (int32 I = 0; I < Count; ++I) StepFrame();
}

bool FSimHost::StepUntil(const std::function<bool()>& Condition, int32 MaxFrames)
{
	for (int32 I = 0; I < MaxFrames; ++I)
	{
		if (Condition()) return true;
		StepFrame();
	}
	return Condition();
}

void FSimHost::Run(const std::atomic<bool>& bStop)
{
	Run(std::function<bool()>([&bStop] { return bStop.load(); }));
}

void FSimHost::Run(const std::function<bool()>& ShouldStop)
{
	FGameThreadTaskQueue& Queue = FGameThreadTaskQueue::Get();
	Queue.MarkGameThread();
	if (VirtualClock)
	{
		while (!ShouldStop()) StepFrame();
		return;
	}
	double Next = RealSeconds();
	while (!ShouldStop())
	{
		StepFrame();
		Next += 1.0 / (IsThrottled() ? std::min(BackgroundFrameRate, Options.TargetFrameRate) : Options.TargetFrameRate);
		double Now = RealSeconds();
		if (Now > Next + 0.25) Next = Now;
		while (!ShouldStop() && Now < Next)
		{
			// Calls that arrive between frames run at once instead of waiting for the next frame.
			if (Queue.WaitForTasks(Next - Now) && !Editor->GetOpenModal()) Queue.RunPending();
			Now = RealSeconds();
		}
	}
}

FSimJson FSimHost::DumpState() const
{
	FSimJson Out = FSimJson::object();
	Out["frame"] = GetFrameCounter();
	Out["seconds"] = FPlatformTime::Seconds();
	FSimJson Worlds = FSimJson::array();
	for (const FWorldContext& Context : Editor->GetWorldContexts())
	{
		const auto* World = dynamic_cast<const FSimWorld*>(Context.World);
		if (!World) continue;
		FSimJson W = FSimJson::object();
		W["path"] = World->GetPathName();
		W["type"] = ::LexToString(World->GetWorldType());
		W["time_seconds"] = World->GetTimeSeconds();
		W["real_time_seconds"] = World->GetRealTimeSeconds();
		W["begun_play"] = World->HasBegunPlay();
		W["paused"] = World->IsPaused();
		FSimJson Actors = FSimJson::array();
		for (AActor* Actor : World->GetActors())
		{
			FSimJson A = FSimJson::object();
			A["path"] = Actor->GetPathName();
			A["class"] = Actor->GetClass()->GetPathName();
			A["label"] = Actor->GetActorLabel();
			A["folder"] = Actor->GetFolderPath();
			const FVector L = Actor->GetActorLocation();
			const FRotator R = Actor->GetActorRotation();
			const FVector S = Actor->GetActorScale3D();
			A["location"] = Triple(L.X, L.Y, L.Z);
			A["rotation"] = Triple(R.Pitch, R.Yaw, R.Roll);
			A["scale"] = Triple(S.X, S.Y, S.Z);
			A["properties"] = DumpObjectValues(Actor);
			FSimJson Components = FSimJson::array();
			for (UActorComponent* C : Actor->GetComponents())
			{
				FSimJson CJ = FSimJson::object();
				CJ["name"] = C->GetName();
				CJ["class"] = C->GetClass()->GetPathName();
				CJ["properties"] = DumpObjectValues(C);
				if (UObject* Anim = SimGetObjectProperty(C, "AnimScriptInstance")) CJ["anim_instance"] = DumpObjectValues(Anim);
				if (const auto* Asc = dynamic_cast<const FSimAbilitySystemComponent*>(C)) CJ["attributes"] = Asc->Describe();
				if (const auto* Blackboard = dynamic_cast<const FSimBlackboardComponent*>(C)) CJ["blackboard"] = Blackboard->Describe();
				if (const auto* Follow = dynamic_cast<const FSimPathFollowingComponent*>(C))
				{
					CJ["path_following"] = {{"status", ::LexToString(Follow->Status)}, {"next", Follow->NextIndex},
						{"points", Follow->Path.size()}, {"last_result", ::LexToString(Follow->LastResult)}};
				}
				Components.push_back(std::move(CJ));
			}
			A["components"] = std::move(Components);
			Actors.push_back(std::move(A));
		}
		W["actors"] = std::move(Actors);
		Worlds.push_back(std::move(W));
	}
	Out["worlds"] = std::move(Worlds);
	FSimJson Blueprints = FSimJson::array();
	for (UBlueprint* BP : Registry->GetLoadedBlueprints())
	{
		Blueprints.push_back({{"path", BP->GetPathName()}, {"status", ::LexToString(BP->GetStatus())}});
	}
	Out["blueprints"] = std::move(Blueprints);
	return Out;
}
}
