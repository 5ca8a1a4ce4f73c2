// The simulated editor engine (GEditor): the open map, Play-In-Editor and the level viewports.
//
// PIE, as the engine does it: RequestPlaySession queues a start that Tick performs on the next frame;
// starting duplicates the editor world into a PIE world, spawns its GameMode and GameState and fires BeginPIE;
// after PIELoadFrames frames of loading the player logs in (PlayerController, PlayerState, the GameMode's
// default pawn at the first PlayerStart, or the origin without one, possessed) and play begins.
// RequestEndPlayMap ends PIE on the next frame: PrePIEEnded fires, the world logs "BeginTearingDown" and is
// destroyed, EndPIE fires. Loaded Blueprints with compile errors (and the display-compile-PIE-warning flag)
// open the engine's blocking modal instead of starting, unless the request suppresses it; while a modal is
// open the frame loop is frozen, as the real editor is, until the modal is answered.
//
// Game thread only.
#pragma once
#include "Editor.h"
#include "ModalHooks.h"
#include "SimObjects.h"
#include "SimPlayerInput.h"
#include "SimQuiescence.h"
#include "SimRenderScene.h"
#include "SimViewport.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
struct FSimEditorSettings
{
	/** Class path of the GameMode used when the map's WorldSettings names none. */
	std::string GlobalDefaultGameMode = "/Script/Engine.GameModeBase";
	/** Frames a PIE world loads before play begins. */
	int32 PIELoadFrames = 2;
	/** Size of the visible (perspective) level viewport. */
	FIntPoint ViewportSize{1280, 720};
	/** Frames after which an unanswered modal answers itself "No" (0: never). */
	int32 ModalTimeoutFrames = 0;
	/** An editor without a visible window: its viewports keep their sizes but are never drawn. */
	bool bHiddenEditor = false;
	/** The project's input mappings (Config/DefaultInput.ini). */
	FSimInputSettings InputSettings;
};

class FSimEditor final : public UEditorEngine
{
public:
	FSimEditor(FSimObjectRegistry& InRegistry, FSimQuiescence& InQuiescence, FSimEditorSettings InSettings);
	~FSimEditor() override;

	// UEditorEngine
	std::vector<FWorldContext> GetWorldContexts() const override;
	UWorld* GetEditorWorld() const override { return EditorWorld; }
	UWorld* GetPlayWorld() const override { return PlayWorld; }
	bool LoadMap(const std::string& LongPackageName, std::string* OutError) override;
	void RequestPlaySession(const FRequestPlaySessionParams& Params) override;
	bool HasPlaySessionRequest() const override { return QueuedRequest.has_value(); }
	void CancelRequestPlaySession() override { QueuedRequest.reset(); }
	bool StartQueuedPlaySessionRequest(std::string* OutError) override;
	void RequestEndPlayMap() override;
	bool ShouldEndPlayMap() const override { return bEndPlayMapQueued; }
	bool IsPlaySessionInProgress() const override { return PlayWorld != nullptr; }
	bool IsSimulatingInEditor() const override { return PlayWorld && bSimulating; }
	std::vector<FEditorViewportClient*> GetLevelViewportClients() const override;
	FEditorViewportClient* GetCurrentLevelEditingViewportClient() const override { return CurrentViewportClient; }
	FViewport* GetGameViewport() const override { return PlayWorld ? const_cast<FSimViewport*>(&GameViewport) : nullptr; }

	// UEngine
	/** Runs the simulated engine's console commands (SimConsole.h). */
	bool Exec(UWorld* InWorld, const std::string& Cmd, FOutputDevice& Ar) override;

	/** The editor's part of a frame: pending PIE end and start, PIE loading, then the worlds' ticks. */
	void Tick(double DeltaSeconds);
	/** The viewport phase of a frame: each viewport due to draw captures its view for the renderer. */
	void DrawViewports(uint64 FrameCounter);
	/** What the viewports drew in the last viewport phase. */
	const FSimRenderStats& GetLastDrawStats() const { return LastDrawStats; }
	/** The camera the game viewport looks through for this view target, so a caller can tell where a point lands. */
	FSimRenderCamera CameraForViewTarget(AActor* ViewTarget) { return Renderer->CameraForViewTarget(ViewTarget); }

	/** Opens a new, empty editor world (package under /Temp/ when no name is given). */
	FSimWorld* NewMap(const std::string& LongPackageName = std::string());
	FSimWorld* GetSimEditorWorld() const { return EditorWorld; }
	FSimWorld* GetSimPlayWorld() const { return PlayWorld; }
	/** Frames until the PIE world begins play (0 once it has). */
	int32 GetPIELoadFramesLeft() const { return PIELoadFramesLeft; }

	/** The open modal dialog, if any. */
	const std::optional<FSlateModalContext>& GetOpenModal() const { return OpenModal; }
	/** Answers the open modal: "Yes" starts the held PIE request, "No" drops it. */
	void AnswerModal(bool bYes);
	/** Counts a frozen frame while a modal is open; answers "No" after the timeout. */
	void TickModal();

	void SetCurrentViewportClient(int32 Index);
	FSimLevelViewportClient* GetViewportClient(int32 Index) const;
	const FSimEditorSettings& GetSettings() const { return Settings; }
	FSimEditorSettings& GetMutableSettings() { return Settings; }

private:
	bool StartPlayInEditor(const FRequestPlaySessionParams& Params, std::string* OutError);
	void FinishPIELoad();
	void EndPlayMap();
	/** Makes the quiescence managers busy as the open map asks (after a load and at PIE start). */
	void ApplyMapLoadBusy();
	FSimClass* ResolveGameModeClass(FSimWorld* World) const;

	FSimObjectRegistry& Registry;
	FSimQuiescence& Quiescence;
	FSimEditorSettings Settings;
	FSimWorld* EditorWorld = nullptr;
	FSimWorld* PlayWorld = nullptr;
	std::optional<FRequestPlaySessionParams> QueuedRequest;
	bool bEndPlayMapQueued = false;
	bool bSimulating = false;
	int32 PIELoadFramesLeft = 0;
	std::optional<FMapDocument> OpenMapDocument;
	std::optional<FSlateModalContext> OpenModal;
	std::optional<FRequestPlaySessionParams> ModalRequest;
	int32 ModalFrames = 0;
	uint64 NextModalId = 1;
	int32 UntitledCounter = 1;
	std::vector<std::unique_ptr<FSimLevelViewportClient>> ViewportClients;
	FSimLevelViewportClient* CurrentViewportClient = nullptr;
	FSimViewport GameViewport;
	std::unique_ptr<FSimGameViewportClient> GameViewportClient;
	std::unique_ptr<FSimSceneRenderer> Renderer;
	FSimRenderStats LastDrawStats;
};
}
