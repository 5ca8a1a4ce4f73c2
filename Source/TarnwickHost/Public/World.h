// Worlds, actors and components: the engine's UWorld, AActor, APawn, AController, UActorComponent and the
// UGameplayStatics helpers the editor module uses on a world.
//
// The editor holds an editor world (the open map) and, while Play-In-Editor runs, a PIE world duplicated from
// it. Actors live in a world's persistent level, in spawn order; a destroyed actor is pending kill at once
// (weak handles answer null) and its memory is reclaimed at the end of the frame. Everything that is not
// plain reflection (transform, label, folder, possession, time) has an operation here.
//
// Implemented by the host; game thread only.
#pragma once
#include "InputCoreTypes.h"
#include "MathTypes.h"
#include "Object.h"

#include <string>
#include <vector>

class AActor;
class APlayerController;
class UActorComponent;
class UGameViewportClient;
class UNavigationSystemV1;

namespace EWorldType
{
/** The engine's world types. */
enum Type : uint8
{
	None,
	Game,
	Editor,
	PIE,
	EditorPreview,
	GamePreview,
	GameRPC,
	Inactive,
};
}

const char* LexToString(EWorldType::Type Type);

/** Where and how to spawn an actor (the engine's FActorSpawnParameters plus the transform). */
struct FActorSpawnParameters
{
	/** Empty: the engine's naming, "<ClassName>_<n>" unique in the level. A taken name fails the spawn. */
	std::string Name;
	/** Empty: the class's display name ("BP_Hero" for BP_Hero_C). */
	std::string Label;
	std::string FolderPath;
	FVector Location;
	FRotator Rotation;
	FVector Scale{1.0, 1.0, 1.0};
};

class UWorld : public UObject
{
public:
	virtual EWorldType::Type GetWorldType() const = 0;
	/** Game seconds since play began: frame deltas times the global time dilation, frozen while paused. */
	virtual double GetTimeSeconds() const = 0;
	/** Seconds since play began, ignoring pause and dilation. */
	virtual double GetRealTimeSeconds() const = 0;
	/** This frame's game delta (0 while paused). */
	virtual double GetDeltaSeconds() const = 0;
	virtual bool HasBegunPlay() const = 0;
	/** True from the moment the world starts being torn down (the engine's bIsTearingDown). */
	virtual bool IsTearingDown() const = 0;
	/** The map's short name without any PIE prefix ("Arena"). */
	virtual std::string GetMapName() const = 0;
	/** The world's package ("/Game/Maps/Arena", or "/Game/Maps/UEDPIE_0_Arena" for a PIE world). */
	virtual std::string GetPackageName() const = 0;

	/** Live actors of the persistent level, in spawn order (the engine's TActorIterator). */
	virtual std::vector<AActor*> GetActors() const = 0;
	/** Spawns an actor of Class (which must derive from Actor and not be abstract); null and OutError on failure. */
	virtual AActor* SpawnActor(UClass* Class, const FActorSpawnParameters& Params, std::string* OutError) = 0;
	/** Destroys an actor of this world; false when it is not one or is already destroyed. */
	virtual bool DestroyActor(AActor* Actor) = 0;
	virtual APlayerController* GetFirstPlayerController() const = 0;
	/** The level's WorldSettings actor. */
	virtual AActor* GetWorldSettings() const = 0;
	/** The GameMode actor of a game or PIE world that has one. */
	virtual AActor* GetAuthGameMode() const = 0;

	virtual bool IsPaused() const = 0;
	/** Pauses or unpauses play; false when the world cannot be paused (no player controller). */
	virtual bool SetGamePaused(bool bPaused) = 0;
	virtual double GetGlobalTimeDilation() const = 0;
	/** Sets the WorldSettings' time dilation, clamped to its Min/MaxGlobalTimeDilation; returns the value set. */
	virtual double SetGlobalTimeDilation(double Dilation) = 0;

	/** The viewport client input arrives through (a PIE or game world's); null for other worlds. */
	virtual UGameViewportClient* GetGameViewport() const { return nullptr; }
	/** The world's navigation system (the engine's UWorld::GetNavigationSystem); null when it has none. */
	virtual UNavigationSystemV1* GetNavigationSystem() const { return nullptr; }
};

class AActor : public UObject
{
public:
	virtual UWorld* GetWorld() const = 0;
	/** The name shown in the Outliner (the engine's GetActorLabel). */
	virtual std::string GetActorLabel() const = 0;
	virtual void SetActorLabel(const std::string& Label) = 0;
	/** The Outliner folder, "" for the root. */
	virtual std::string GetFolderPath() const = 0;
	virtual void SetFolderPath(const std::string& Path) = 0;
	virtual FVector GetActorLocation() const = 0;
	virtual void SetActorLocation(const FVector& Location) = 0;
	virtual FRotator GetActorRotation() const = 0;
	virtual void SetActorRotation(const FRotator& Rotation) = 0;
	virtual FVector GetActorScale3D() const = 0;
	virtual void SetActorScale3D(const FVector& Scale) = 0;
	/** The velocity of the actor's movement (a character's movement component), zero otherwise. */
	virtual FVector GetVelocity() const = 0;
	/** The actor's components, the root component first. */
	virtual std::vector<UActorComponent*> GetComponents() const = 0;
	virtual UActorComponent* GetRootComponent() const = 0;
	virtual bool HasActorBegunPlay() const = 0;

	/** The first component of the given class, or null (the engine's FindComponentByClass). */
	UActorComponent* FindComponentByClass(const UClass* Class) const;
};

class AController;

class APawn : public AActor
{
public:
	/** The controller that possesses this pawn, or null. */
	virtual AController* GetController() const = 0;
	/**
	 * Spawns a controller of the pawn's AIControllerClass and makes it possess the pawn (the engine's
	 * SpawnDefaultController). Does nothing when the pawn already has a controller, has no AIControllerClass, or
	 * its world is not a game or PIE world.
	 */
	virtual void SpawnDefaultController() = 0;
};

class AController : public AActor
{
public:
	/** The possessed pawn, or null. */
	virtual APawn* GetPawn() const = 0;
	/** Where the controller looks (a player's camera direction; an AI's facing). */
	virtual FRotator GetControlRotation() const = 0;
	virtual void SetControlRotation(const FRotator& Rotation) = 0;
};

class APlayerController : public AController
{
public:
	/**
	 * Runs a console command as the player's console does: the player's own commands first (pause, ...), then
	 * GEngine->Exec on the controller's world. An unrecognised command prints "Command not recognized: %s".
	 * Returns what the command printed, lines joined by "\n"; with bWriteToLog the lines also go to the log.
	 */
	virtual std::string ConsoleCommand(const std::string& Command, bool bWriteToLog = true) = 0;
	/** Hands the controller one key event or axis movement; false when the key is invalid for the event. */
	virtual bool InputKey(const FInputKeyParams& Params) = 0;
	/** Whether the key is held down right now. */
	virtual bool IsInputKeyDown(const FKey& Key) const = 0;
	/**
	 * The actor the player's camera looks through: the one set by SetViewTarget while it lives, else the
	 * possessed pawn, else the controller itself. The camera is the view target's active camera component when it
	 * has one, else its eyes (a pawn's eye height, looking along the control rotation).
	 */
	virtual AActor* GetViewTarget() const = 0;
	/** Cuts the camera to NewViewTarget at once (no blend); null makes the controller itself the view target. */
	virtual void SetViewTarget(AActor* NewViewTarget) = 0;
};

class UActorComponent : public UObject
{
public:
	virtual AActor* GetOwner() const = 0;
};

/** The engine's UGameplayStatics, over any world. */
struct UGameplayStatics
{
	static bool SetGamePaused(UWorld* World, bool bPaused) { return World && World->SetGamePaused(bPaused); }
	static bool IsGamePaused(const UWorld* World) { return World && World->IsPaused(); }
	static void SetGlobalTimeDilation(UWorld* World, double Dilation)
	{
		if (World) World->SetGlobalTimeDilation(Dilation);
	}
	static double GetGlobalTimeDilation(const UWorld* World) { return World ? World->GetGlobalTimeDilation() : 1.0; }
};
