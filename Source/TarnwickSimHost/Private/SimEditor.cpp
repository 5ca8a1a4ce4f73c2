#include "SimEditor.h"
#include "SimConsole.h"
#include "SimGameplay.h"

#include "Logging.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "TraceAuxiliary.h"

#include <cmath>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogPlayLevel("LogPlayLevel");
FLogCategory LogWorld("LogWorld");
FLogCategory LogGameMode("LogGameMode");
FLogCategory LogEditorServer("LogEditorServer");
FLogCategory LogLoad("LogLoad");
FLogCategory LogSlate("LogSlate");

FSimClass* ClassProperty(AActor* Actor, const char* Name)
{
	return dynamic_cast<FSimClass*>(SimGetObjectProperty(Actor, Name));
}

void SetObjectProperty(UObject* Object, const char* Name, UObject* Value)
{
	FSimObjectState& State = AsSim(Object)->GetSimState();
	const int32 Index = State.Class->IndexOfName(Name);
	if (Index >= 0) State.Values[static_cast<size_t>(Index)].ObjectValue = FWeakObjectPtr(Value);
}
}

FSimEditor::FSimEditor(FSimObjectRegistry& InRegistry, FSimQuiescence& InQuiescence, FSimEditorSettings InSettings)
	: Registry(InRegistry), Quiescence(InQuiescence), Settings(std::move(InSettings))
{
	// The engine's default layout: one visible perspective viewport and three orthographic ones not shown.
	ViewportClients.push_back(std::make_unique<FSimLevelViewportClient>(0, ELevelViewportType::LVT_Perspective, Settings.ViewportSize));
	ViewportClients.push_back(std::make_unique<FSimLevelViewportClient>(1, ELevelViewportType::LVT_OrthoXY, FIntPoint{0, 0}));
	ViewportClients.push_back(std::make_unique<FSimLevelViewportClient>(2, ELevelViewportType::LVT_OrthoXZ, FIntPoint{0, 0}));
	ViewportClients.push_back(std::make_unique<FSimLevelViewportClient>(3, ELevelViewportType::LVT_OrthoYZ, FIntPoint{0, 0}));
	CurrentViewportClient = ViewportClients.front().get();
	Renderer = std::make_unique<FSimSceneRenderer>(Registry);
}

FSimEditor::~FSimEditor()
{
	if (PlayWorld) Registry.DestroyWorld(PlayWorld);
	if (EditorWorld) Registry.DestroyWorld(EditorWorld);
}

std::vector<FWorldContext> FSimEditor::GetWorldContexts() const
{
	std::vector<FWorldContext> Out;
	Out.push_back(FWorldContext{EWorldType::Editor, EditorWorld, -1});
	if (PlayWorld) Out.push_back(FWorldContext{EWorldType::PIE, PlayWorld, 0});
	return Out;
}

std::vector<FEditorViewportClient*> FSimEditor::GetLevelViewportClients() const
{
	std::vector<FEditorViewportClient*> Out;
	for (const auto& C : ViewportClients) Out.push_back(C.get());
	return Out;
}

FSimLevelViewportClient* FSimEditor::GetViewportClient(int32 Index) const
{
	return Index >= 0 && Index < static_cast<int32>(ViewportClients.size()) ? ViewportClients[static_cast<size_t>(Index)].get() : nullptr;
}

void FSimEditor::SetCurrentViewportClient(int32 Index)
{
	if (FSimLevelViewportClient* C = GetViewportClient(Index)) CurrentViewportClient = C;
}

FSimWorld* FSimEditor::NewMap(const std::string& LongPackageName)
{
	const std::string Name = LongPackageName.empty() ? Tarnwick::Printf("/Temp/Untitled_%d", UntitledCounter++) : LongPackageName;
	if (EditorWorld) Registry.DestroyWorld(EditorWorld);
	EditorWorld = Registry.CreateWorld(Name, EWorldType::Editor);
	OpenMapDocument.reset();
	return EditorWorld;
}

bool FSimEditor::LoadMap(const std::string& LongPackageName, std::string* OutError)
{
	if (PlayWorld)
	{
		if (OutError) *OutError = "cannot open a map while PIE is running";
		return false;
	}
	const double Start = FPlatformTime::Seconds();
	TW_LOG(LogEditorServer, Display, "Loading map %s", LongPackageName.c_str());
	// Reopening the open map reloads it from disk, as the engine does.
	FSimWorld* Previous = EditorWorld;
	if (Previous && Previous->GetPackageName() == LongPackageName)
	{
		Registry.DestroyWorld(Previous);
		EditorWorld = nullptr;
		Previous = nullptr;
	}
	std::string Error;
	FSimWorld* World = Registry.LoadMapWorld(LongPackageName, &Error);
	if (!World)
	{
		TW_LOG(LogEditorServer, Error, "Failed to load map %s: %s", LongPackageName.c_str(), Error.c_str());
		if (OutError) *OutError = Error;
		return false;
	}
	if (Previous) Registry.DestroyWorld(Previous);
	EditorWorld = World;
	OpenMapDocument = *Registry.GetLastMapDocument();
	ApplyMapLoadBusy();
	TW_LOG(LogLoad, Log, "Took %f seconds to LoadMap(%s)", FPlatformTime::Seconds() - Start, LongPackageName.c_str());
	return true;
}

void FSimEditor::ApplyMapLoadBusy()
{
	if (!OpenMapDocument) return;
	for (const FStreamingLevelDocument& L : OpenMapDocument->StreamingLevels)
	{
		Quiescence.HoldBusy(ESimBusySubsystem::AsyncLoading, L.LoadFrames, 1);
	}
	if (OpenMapDocument->WorldPartitionStreamingFrames > 0)
	{
		Quiescence.HoldBusy(ESimBusySubsystem::WorldPartitionStreaming, OpenMapDocument->WorldPartitionStreamingFrames, 1);
	}
}

void FSimEditor::RequestPlaySession(const FRequestPlaySessionParams& Params)
{
	QueuedRequest = Params;
	TW_LOG(LogPlayLevel, Log, "Play session requested");
}

bool FSimEditor::StartQueuedPlaySessionRequest(std::string* OutError)
{
	if (!QueuedRequest)
	{
		if (OutError) *OutError = "no play session was requested";
		return false;
	}
	const FRequestPlaySessionParams Params = *QueuedRequest;
	QueuedRequest.reset();
	return StartPlayInEditor(Params, OutError);
}

bool FSimEditor::StartPlayInEditor(const FRequestPlaySessionParams& Params, std::string* OutError)
{
	auto Fail = [&](const char* Why) {
		TW_LOG(LogPlayLevel, Warning, "PIE not started: %s", Why);
		if (OutError) *OutError = Why;
		return false;
	};
	if (PlayWorld) return Fail("PIE already running");
	if (OpenModal) return Fail("a modal dialog is open");
	if (!EditorWorld) return Fail("no editor world");
	if (!Params.bSuppressBlueprintCompileErrorModal)
	{
		int32 Errored = 0;
		for (UBlueprint* BP : Registry.GetLoadedBlueprints())
		{
			if (BP->GetStatus() == EBlueprintStatus::Error && BP->GetDisplayCompilePIEWarning()) ++Errored;
		}
		if (Errored > 0)
		{
			FSlateModalContext Modal;
			Modal.ModalId = NextModalId++;
			Modal.Title = "Blueprint Compilation Errors";
			Modal.Text = "One or more blueprints has an unresolved compiler error, are you sure you want to Play in Editor?";
			Modal.SlowTask = "false";
			OpenModal = Modal;
			ModalRequest = Params;
			ModalFrames = 0;
			TW_LOG(LogSlate, Log, "Window '%s' being shown as a modal", Modal.Title.c_str());
			FCoreDelegates::PreSlateModalWithContext.Broadcast(Modal);
			return Fail("Blueprint compile errors: a modal dialog asks whether to play anyway");
		}
	}
	const double Start = FPlatformTime::Seconds();
	bSimulating = Params.bSimulateInEditor;
	TW_LOG(LogPlayLevel, Log, "PlayLevel: No blueprints needed recompiling");
	FEditorDelegates::BeginPIE.Broadcast(bSimulating);
	FSimWorld* World = Registry.DuplicateWorldForPIE(EditorWorld, 0);
	TW_LOG(LogPlayLevel, Log, "Creating play world package: %s", World->GetPackageName().c_str());
	TW_LOG(LogPlayLevel, Log, "PIE: Created PIE world by copying editor world from %s to %s (%fs)", EditorWorld->GetPathName().c_str(),
		World->GetPathName().c_str(), FPlatformTime::Seconds() - Start);
	PlayWorld = World;
	bEndPlayMapQueued = false;
	GameViewport = FSimViewport();
	GameViewport.Size = CurrentViewportClient ? CurrentViewportClient->Viewport.Size : Settings.ViewportSize;
	GameViewportClient = std::make_unique<FSimGameViewportClient>(GameViewport, World);
	World->GameViewportClient = GameViewportClient.get();
	World->Gameplay = std::make_unique<FSimWorldGameplay>(*World, Settings.InputSettings);

	if (!bSimulating)
	{
		FSimClass* GameModeClass = ResolveGameModeClass(World);
		FActorSpawnParameters P;
		std::string Error;
		World->GameMode = GameModeClass ? Registry.SpawnActor(World, GameModeClass, P, &Error) : nullptr;
		if (World->GameMode)
		{
			TW_LOG(LogLoad, Log, "Game class is '%s'", GameModeClass->GetName().c_str());
			if (FSimClass* GameStateClass = ClassProperty(World->GameMode, "GameStateClass"))
			{
				Registry.SpawnActor(World, GameStateClass, P, &Error);
			}
		}
	}
	ApplyMapLoadBusy();
	PIELoadFramesLeft = std::max(0, Settings.PIELoadFrames);
	if (PIELoadFramesLeft == 0) FinishPIELoad();
	return true;
}

FSimClass* FSimEditor::ResolveGameModeClass(FSimWorld* World) const
{
	if (FSimClass* Override = ClassProperty(World->WorldSettings, "DefaultGameMode")) return Override;
	std::string Error;
	auto* Class = dynamic_cast<FSimClass*>(Registry.LoadClass(Settings.GlobalDefaultGameMode, &Error));
	if (!Class || !Class->IsChildOf(Registry.GameModeBaseClass))
	{
		TW_LOG(LogGameMode, Warning, "GlobalDefaultGameMode '%s' is not usable (%s); using GameModeBase", Settings.GlobalDefaultGameMode.c_str(),
			Error.empty() ? "not a GameModeBase" : Error.c_str());
		return Registry.GameModeBaseClass;
	}
	return Class;
}

void FSimEditor::FinishPIELoad()
{
	FSimWorld* World = PlayWorld;
	if (!World) return;
	// Placed pawns that want an AI controller get it before the players log in, as the engine's actors do
	// when they are initialised for play.
	if (World->Gameplay && !bSimulating) World->Gameplay->InitializeActorsForPlay();
	AActor* GameMode = World->GameMode;
	if (GameMode && !bSimulating)
	{
		std::string Error;
		FActorSpawnParameters P;
		FSimClass* PCClass = ClassProperty(GameMode, "PlayerControllerClass");
		AActor* PC = PCClass ? Registry.SpawnActor(World, PCClass, P, &Error) : nullptr;
		FSimClass* PSClass = ClassProperty(GameMode, "PlayerStateClass");
		AActor* PS = PSClass ? Registry.SpawnActor(World, PSClass, P, &Error) : nullptr;
		if (PC && PS) SetObjectProperty(PC, "PlayerState", PS);
		FSimClass* PawnClass = ClassProperty(GameMode, "DefaultPawnClass");
		if (PC && PawnClass)
		{
			AActor* Start = nullptr;
			for (AActor* A : World->GetActors())
			{
				if (A->IsA(Registry.PlayerStartClass))
				{
					Start = A;
					break;
				}
			}
			FActorSpawnParameters PawnParams;
			if (Start)
			{
				PawnParams.Location = Start->GetActorLocation();
				PawnParams.Rotation = FRotator(0.0, Start->GetActorRotation().Yaw, 0.0);
			}
			else
			{
				TW_LOG(LogGameMode, Warning, "No PlayerStart in %s: spawning the player at the world origin", World->GetMapName().c_str());
			}
			AActor* Pawn = Registry.SpawnActor(World, PawnClass, PawnParams, &Error);
			if (Pawn)
			{
				SimPossess(Cast<AController>(PC), Cast<APawn>(Pawn));
				TW_LOG(LogGameMode, Log, "%s possessed %s at (%.1f, %.1f, %.1f)", PC->GetName().c_str(), Pawn->GetName().c_str(),
					PawnParams.Location.X, PawnParams.Location.Y, PawnParams.Location.Z);
			}
			else
			{
				TW_LOG(LogGameMode, Error, "Could not spawn the default pawn: %s", Error.c_str());
			}
		}
	}
	TW_LOG(LogWorld, Log, "Bringing World %s up for play (max tick rate 0)", World->GetPathName().c_str());
	World->BeginPlay();
	TW_LOG(LogWorld, Log, "Bringing up level for play took: %f", 0.0);
	TW_LOG(LogPlayLevel, Display, "PIE: Play in editor total start time %.3f seconds.", 0.0);
	FMiscTrace::OutputBookmark("PIE Begin Play");
}

void FSimEditor::RequestEndPlayMap()
{
	if (!PlayWorld) return;
	if (!bEndPlayMapQueued) TW_LOG(LogPlayLevel, Log, "End of play requested");
	bEndPlayMapQueued = true;
}

void FSimEditor::EndPlayMap()
{
	bEndPlayMapQueued = false;
	FSimWorld* World = PlayWorld;
	if (!World) return;
	const bool bWasSimulating = bSimulating;
	FEditorDelegates::PrePIEEnded.Broadcast(bWasSimulating);
	TW_LOG(LogPlayLevel, Display, "Shutting down PIE online subsystems");
	World->bTearingDown = true;
	TW_LOG(LogWorld, Log, "BeginTearingDown for %s", World->GetPackageName().c_str());
	TW_LOG(LogWorld, Log, "UWorld::CleanupWorld for %s, bSessionEnded=true, bCleanupResources=true", World->GetMapName().c_str());
	PlayWorld = nullptr;
	PIELoadFramesLeft = 0;
	World->GameViewportClient = nullptr;
	Registry.DestroyWorld(World);
	GameViewportClient.reset();
	bSimulating = false;
	TW_LOG(LogPlayLevel, Display, "Destroying online subsystem :Context_0");
	FMiscTrace::OutputBookmark("PIE End");
	FEditorDelegates::EndPIE.Broadcast(bWasSimulating);
}

void FSimEditor::AnswerModal(bool bYes)
{
	if (!OpenModal) return;
	const FSlateModalContext Modal = *OpenModal;
	std::optional<FRequestPlaySessionParams> Request = ModalRequest;
	OpenModal.reset();
	ModalRequest.reset();
	FCoreDelegates::PostSlateModalWithContext.Broadcast(Modal);
	if (bYes && Request)
	{
		Request->bSuppressBlueprintCompileErrorModal = true;
		StartPlayInEditor(*Request, nullptr);
	}
}

void FSimEditor::TickModal()
{
	if (!OpenModal) return;
	++ModalFrames;
	if (Settings.ModalTimeoutFrames > 0 && ModalFrames >= Settings.ModalTimeoutFrames)
	{
		TW_LOG(LogSlate, Warning, "Message Dialog was triggered in unattended script mode without a default value. Returning No.");
		TW_LOG(LogSlate, Log, "Message dialog closed, result: No, title: %s, text: %s", OpenModal->Title.c_str(), OpenModal->Text.c_str());
		AnswerModal(false);
	}
}

void FSimEditor::Tick(double DeltaSeconds)
{
	if (bEndPlayMapQueued) EndPlayMap();
	// Loading counts frames after the one that started PIE, however it was started.
	if (PlayWorld && !PlayWorld->bBegunPlay && PIELoadFramesLeft > 0)
	{
		if (--PIELoadFramesLeft == 0) FinishPIELoad();
	}
	if (QueuedRequest && !PlayWorld)
	{
		std::string Error;
		StartQueuedPlaySessionRequest(&Error);
	}
	if (EditorWorld) EditorWorld->Tick(DeltaSeconds);
	if (PlayWorld) PlayWorld->Tick(DeltaSeconds);
}

bool FSimEditor::Exec(UWorld* InWorld, const std::string& Cmd, FOutputDevice& Ar)
{
	return ExecConsoleCommand(*this, dynamic_cast<FSimWorld*>(InWorld), Cmd, Ar);
}

void FSimEditor::DrawViewports(uint64 FrameCounter)
{
	LastDrawStats = FSimRenderStats();
	if (Settings.bHiddenEditor) return;
	auto Count = [this](const FSimRenderFrame& Frame) {
		const FSimRenderStats Stats = Frame.GetStats();
		LastDrawStats.DrawCalls += Stats.DrawCalls;
		LastDrawStats.PrimitivesDrawn += Stats.PrimitivesDrawn;
	};
	// Simulate-in-editor plays in the level viewports; otherwise they keep showing the editor world.
	UWorld* LevelWorld = PlayWorld && bSimulating ? static_cast<UWorld*>(PlayWorld) : EditorWorld;
	for (const auto& C : ViewportClients)
	{
		if (!C->Draw(FrameCounter)) continue;
		FSimRenderFrame& Frame = C->Viewport.BeginDrawnFrame();
		Renderer->DrawLevelViewport(*C, C->Viewport.Size, FSimShowFlags::FromOverrides(C->Viewport.ShowFlags), LevelWorld, Frame);
		Count(Frame);
	}
	if (PlayWorld && GameViewport.Size.X > 0 && GameViewport.Size.Y > 0)
	{
		GameViewport.bInvalidated = false;
		++GameViewport.DrawCount;
		FSimRenderFrame& Frame = GameViewport.BeginDrawnFrame();
		Renderer->DrawGameViewport(
			PlayWorld, GameViewport.Size, GameViewport.ViewModeIndex, FSimShowFlags::FromOverrides(GameViewport.ShowFlags), Frame);
		Count(Frame);
	}
}
}
