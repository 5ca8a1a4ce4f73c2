// The editor engine, the engine's UEditorEngine (GEditor): world contexts, the open map, Play-In-Editor
// requests and the level viewports; and FEditorDelegates, the editor's PIE events.
//
// PIE follows the engine's timing: RequestPlaySession queues a start that the editor performs on a following
// frame (StartQueuedPlaySessionRequest performs it at once); the PIE world exists from then on but begins play
// only after it has loaded. RequestEndPlayMap ends PIE on a following frame: PrePIEEnded fires, the world is
// torn down and destroyed, then EndPIE fires. Only one PIE runs at a time.
//
// The host installs its editor with SetEditor (GEditor, GUnrealEd and GEngine are then that object). Game thread
// only.
#pragma once
#include "Delegates.h"
#include "Engine.h"
#include "HostTypes.h"
#include "World.h"

#include <string>
#include <vector>

class FEditorViewportClient;
class FViewport;

/** One world the editor holds (the engine's FWorldContext). */
struct FWorldContext
{
	EWorldType::Type WorldType = EWorldType::None;
	UWorld* World = nullptr;
	/** PIE instance number, -1 for the editor's own context. */
	int32 PIEInstance = -1;
};

/** What a PIE request asks for (the engine's FRequestPlaySessionParams, reduced to what is used). */
struct FRequestPlaySessionParams
{
	/** Simulate-in-editor instead of play (no player is spawned). */
	bool bSimulateInEditor = false;
	/**
	 * Start even when loaded Blueprints have compile errors, without the blocking "Blueprint compilation
	 * errors" modal the editor otherwise raises.
	 */
	bool bSuppressBlueprintCompileErrorModal = false;
};

class UEditorEngine : public UEngine
{
public:

	/** The editor's context first, then any PIE context. */
	virtual std::vector<FWorldContext> GetWorldContexts() const = 0;
	/** The editor world (the open map); null only before a map was opened. */
	virtual UWorld* GetEditorWorld() const = 0;
	/** The PIE world while PIE runs (the engine's PlayWorld), else null. */
	virtual UWorld* GetPlayWorld() const = 0;

	/**
	 * Opens a map in the editor (ULevelEditorSubsystem::LoadLevel). Fails while PIE runs, or when the package
	 * does not exist or cannot be read; OutError says which.
	 */
	virtual bool LoadMap(const std::string& LongPackageName, std::string* OutError) = 0;

	/** Queues a PIE start for a following frame; replaces an earlier queued request. */
	virtual void RequestPlaySession(const FRequestPlaySessionParams& Params) = 0;
	virtual bool HasPlaySessionRequest() const = 0;
	virtual void CancelRequestPlaySession() = 0;
	/**
	 * Performs the queued request now. False, with the reason in OutError, when nothing is queued, PIE already
	 * runs, there is no editor world, or Blueprint compile errors block the start.
	 */
	virtual bool StartQueuedPlaySessionRequest(std::string* OutError) = 0;
	/** Asks for PIE to end on a following frame; does nothing without PIE. */
	virtual void RequestEndPlayMap() = 0;
	/** True while an end request waits for its frame. */
	virtual bool ShouldEndPlayMap() const = 0;
	/** True from the start of PIE until its world is destroyed. */
	virtual bool IsPlaySessionInProgress() const = 0;
	virtual bool IsSimulatingInEditor() const = 0;

	/** The level editor's viewport clients, in creation order. */
	virtual std::vector<FEditorViewportClient*> GetLevelViewportClients() const = 0;
	/** The viewport the user last worked in (GCurrentLevelEditingViewportClient); may be null. */
	virtual FEditorViewportClient* GetCurrentLevelEditingViewportClient() const = 0;
	/** The PIE game viewport while PIE runs, else null. */
	virtual FViewport* GetGameViewport() const = 0;
};

/** The installed editor (GEditor); null without one. */
extern UEditorEngine* GEditor;
/** The engine's UUnrealEdEngine: the same object as GEditor in this host. */
extern UEditorEngine* GUnrealEd;

namespace Tarnwick::Host
{
/** Installs the editor as GEditor, GUnrealEd and GEngine (not owned; null uninstalls). */
void SetEditor(UEditorEngine* Editor);
}

/** The editor's PIE events. Each passes whether the session is simulate-in-editor. */
struct FEditorDelegates
{
	using FOnPIEEvent = TMulticastDelegate<bool>;
	/** The PIE world was created (play has not begun yet). */
	static FOnPIEEvent BeginPIE;
	/** PIE is about to end; the world still exists. */
	static FOnPIEEvent PrePIEEnded;
	/** PIE ended; the world is destroyed. */
	static FOnPIEEvent EndPIE;
};
