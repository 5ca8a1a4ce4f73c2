// The simulated editor's object model: native and Blueprint classes built from the native class table and
// asset documents, objects with reflected property values, actors with components, worlds, and the object
// registry that owns them all and implements the host's object system (find and load by path).
//
// Every object is owned by FSimObjectRegistry and created through it. Destroying an object marks it pending
// kill (weak handles answer null at once) and frees it in CollectGarbage, which the frame loop calls at the
// end of each frame, so raw pointers stay valid until then. Everything is ordered (spawn order, load order,
// ordered maps) so that the same inputs always give the same state. Game thread only.
#pragma once
#include "AIController.h"
#include "Blueprint.h"
#include "SimPlayerInput.h"
#include "SimProjectFormat.h"
#include "SimReflectionRules.h"
#include "UObjectGlobals.h"
#include "World.h"

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Tarnwick::Sim
{
class FSimClass;
class FSimWorld;
class FSimObjectRegistry;
class FSimComponent;

/** What the renderer needs of a mesh asset: its bounds and the colour it is drawn in (unset: the default). */
struct FSimMeshInfo
{
	FVector BoundsExtent{50.0, 50.0, 50.0};
	std::optional<FColor> Color;
};

/** What every simulated object holds besides its C++ type. */
struct FSimObjectState
{
	FSimClass* Class = nullptr;
	std::string Name;
	UObject* Outer = nullptr;
	bool bPendingKill = false;
	uint64 Serial = 0;
	/** One value per property of the class, in the order of FSimClass::GetProperties. */
	std::vector<FPropertyValue> Values;
	/** Static and skeletal mesh assets only. */
	std::optional<FSimMeshInfo> Mesh;
};

/** Gives the registry the state of any simulated object, whatever host interface it implements. */
class ISimObject
{
public:
	virtual ~ISimObject() = default;
	virtual FSimObjectState& GetSimState() = 0;
	virtual UObject* AsObject() = 0;
	/** Marks the object pending kill: weak handles answer null from now on. */
	virtual void MarkPendingKill() = 0;
	/** Takes over the C++ state beyond reflected values (attributes, blackboard keys) when a world is duplicated. */
	virtual void CopyGameplayStateFrom(ISimObject& /*Source*/) {}
};

ISimObject* AsSim(UObject* Object);
const FSimObjectState* GetSimState(const UObject* Object);

/** "Outer path" + ('.' or ':') + name, as the engine builds path names. */
std::string MakePathName(const UObject* Outer, const std::string& Name);
bool SimGetPropertyValue(const FSimObjectState& State, const FProperty& Property, FPropertyValue& OutValue);
bool SimSetPropertyValue(FSimObjectState& State, const FProperty& Property, const FPropertyValue& Value, std::string* OutError);

template <class TBase>
class TSimObject : public TBase, public ISimObject
{
public:
	std::string GetName() const override { return State.Name; }
	std::string GetPathName() const override { return MakePathName(State.Outer, State.Name); }
	UClass* GetClass() const override;
	UObject* GetOuter() const override { return State.Outer; }
	bool IsPendingKill() const override { return State.bPendingKill; }
	bool GetPropertyValue(const FProperty& Property, FPropertyValue& OutValue) const override
	{
		return SimGetPropertyValue(State, Property, OutValue);
	}
	bool SetPropertyValue(const FProperty& Property, const FPropertyValue& Value, std::string* OutError) override
	{
		return SimSetPropertyValue(State, Property, Value, OutError);
	}
	FSimObjectState& GetSimState() override { return State; }
	UObject* AsObject() override { return this; }
	void MarkPendingKill() override
	{
		State.bPendingKill = true;
		this->ClearWeakHandles();
	}

	FSimObjectState State;
};

/** A plain object: packages, levels, meshes, animation instances, class default objects. */
class FSimObject final : public TSimObject<UObject>
{
};

/** A component template of an actor class: its name, class, bound actor property and default values. */
struct FSimComponentTemplate
{
	std::string Name;
	FSimClass* Class = nullptr;
	std::string BoundProperty;
	std::vector<FPropertyValue> Values;
};

class FSimBlueprint;

class FSimClass final : public TSimObject<UClass>
{
public:
	UClass* GetSuperClass() const override;
	const FProperty* FindPropertyByName(std::string_view Name) const override;
	std::vector<const FProperty*> GetProperties() const override { return AllProperties; }
	UObject* GetDefaultObject() const override { return DefaultObject; }
	bool IsNative() const override { return bNative; }

	/** Index of a property of this class in an instance's values, or -1. */
	int32 IndexOf(const FProperty* Property) const;
	int32 IndexOfName(std::string_view Name) const;
	/** Adds a property declared by this class; false if the name is taken. */
	bool AddProperty(FProperty Property);
	bool IsChildOfKind(ESimObjectKind K) const { return Kind == K; }
	bool IsA(const std::string& AncestorPath) const;

	FSimClass* Super = nullptr;
	ESimObjectKind Kind = ESimObjectKind::Object;
	bool bNative = true;
	bool bAbstract = false;
	/** The name shown for instances: "StaticMeshActor", "BP_Hero" for BP_Hero_C. */
	std::string DisplayName;
	UObject* DefaultObject = nullptr;
	std::vector<FSimComponentTemplate> Components;
	FSimBlueprint* GeneratedBy = nullptr;
	/** Events every instance runs (a Blueprint parent's first); null when there are none. */
	std::shared_ptr<const FSimEventGraph> EventGraph;
	/** Attribute sets of the class's ability system component (over a Blueprint parent's). */
	std::vector<FSimAttributeSetDef> AttributeSets;

private:
	std::deque<FProperty> OwnProperties;
	std::vector<const FProperty*> AllProperties;
	/** Names compare without regard to case, without making lower-case copies (lookups are frequent). */
	struct FNoCaseLess
	{
		using is_transparent = void;
		bool operator()(std::string_view A, std::string_view B) const;
	};
	std::map<std::string, int32, FNoCaseLess> IndexByLowerName;
	std::unordered_map<const FProperty*, int32> IndexByProperty;

	friend class FSimObjectRegistry;
};

template <class TBase>
UClass* TSimObject<TBase>::GetClass() const
{
	return State.Class;
}

class FSimBlueprint final : public TSimObject<UBlueprint>
{
public:
	UClass* GetGeneratedClass() const override;
	UClass* GetParentClass() const override;
	EBlueprintStatus GetStatus() const override { return Status; }
	bool GetDisplayCompilePIEWarning() const override { return bDisplayCompilePIEWarning; }

	FSimClass* GeneratedClass = nullptr;
	FSimClass* ParentClass = nullptr;
	EBlueprintStatus Status = EBlueprintStatus::UpToDate;
	bool bDisplayCompilePIEWarning = true;
	std::vector<std::string> CompileErrors;
};

/** A component of any host component interface (TBase derives from UActorComponent), with its owning actor. */
template <class TBase>
class TSimComponent : public TSimObject<TBase>
{
public:
	AActor* GetOwner() const override { return Owner; }
	// An actor's transform is its root component's: the root's relative transform has no parent to be relative
	// to, so reading or writing it through reflection reads or moves the actor, as in the engine.
	bool GetPropertyValue(const FProperty& Property, FPropertyValue& OutValue) const override
	{
		const AActor* Actor = RootOwner();
		if (!Actor) return TSimObject<TBase>::GetPropertyValue(Property, OutValue);
		if (Property.Name == "RelativeLocation") OutValue = FPropertyValue::MakeVector(Actor->GetActorLocation());
		else if (Property.Name == "RelativeRotation") OutValue = FPropertyValue::MakeRotator(Actor->GetActorRotation());
		else if (Property.Name == "RelativeScale3D") OutValue = FPropertyValue::MakeVector(Actor->GetActorScale3D());
		else return TSimObject<TBase>::GetPropertyValue(Property, OutValue);
		return true;
	}
	bool SetPropertyValue(const FProperty& Property, const FPropertyValue& Value, std::string* OutError) override
	{
		AActor* Actor = RootOwner();
		const bool bTransform = Actor &&
			(Property.Name == "RelativeLocation" || Property.Name == "RelativeRotation" || Property.Name == "RelativeScale3D");
		if (!bTransform) return TSimObject<TBase>::SetPropertyValue(Property, Value, OutError);
		std::optional<FPropertyValue> Coerced = CoercePropertyValue(Property, Value, OutError);
		if (!Coerced) return false;
		if (Property.Name == "RelativeLocation") Actor->SetActorLocation(Coerced->VectorValue);
		else if (Property.Name == "RelativeRotation") Actor->SetActorRotation(Coerced->RotatorValue);
		else Actor->SetActorScale3D(Coerced->VectorValue);
		return true;
	}
	AActor* Owner = nullptr;

private:
	AActor* RootOwner() const { return Owner && Owner->GetRootComponent() == this ? Owner : nullptr; }
};

/** A component with nothing but reflected values (scene, mesh, movement, camera, light components, ...). */
class FSimComponent final : public TSimComponent<UActorComponent>
{
};

/** What an event of an actor's event graph has done so far (one per event, in graph order). */
struct FSimGraphEventState
{
	/** Delay: fired; OnReached: the watched actor is inside the radius. */
	bool bLatched = false;
	/** Timer: game time of the next firing. */
	double NextTime = 0.0;
};

class FSimAbilitySystemComponent;

/** Actor state shared by every simulated actor type. */
struct FSimActorState
{
	FSimWorld* World = nullptr;
	/** The actor itself and its reflected values, and what it is, known at creation (read every frame). */
	AActor* Self = nullptr;
	FSimObjectState* Values = nullptr;
	bool bIsPawn = false;
	bool bIsPlayerController = false;
	bool bIsAIController = false;
	FSimAbilitySystemComponent* AbilitySystem = nullptr;
	std::string Label;
	std::string FolderPath;
	FVector Location;
	FRotator Rotation;
	FVector Scale{1.0, 1.0, 1.0};
	std::vector<UActorComponent*> Components;
	/** The components' states, in the same order (read every frame, so kept at hand). */
	std::vector<FSimObjectState*> ComponentStates;
	/** The first capsule component's state (characters' collision), and whether any static mesh component exists. */
	FSimObjectState* Capsule = nullptr;
	bool bHasStaticMeshComponent = false;
	UActorComponent* Root = nullptr;
	/** The character movement component and its values, when the actor has one (Velocity is read often). */
	UActorComponent* Movement = nullptr;
	FSimObjectState* MovementValues = nullptr;
	int32 VelocityIndex = -1;
	bool bBegunPlay = false;
	/** Game time at which the actor began play. */
	double BeginPlayTime = 0.0;

	// Gameplay (PIE and game worlds).
	/** The class's event graph followed by the map entry's own events; null when there are none. */
	std::shared_ptr<const FSimEventGraph> EventGraph;
	std::vector<FSimGraphEventState> EventStates;
	/** Movement input added this frame (AddMovementInput), consumed by the movement tick. */
	FVector PendingMovementInput;
	/** Jump was pressed and not yet performed or released. */
	bool bPressedJump = false;
	int32 JumpCurrentCount = 0;
	/** Attribute values from the map entry, applied over the class's when the actor is created. */
	FSimJson AttributeOverrides;
};

class ISimActor
{
public:
	virtual ~ISimActor() = default;
	virtual FSimActorState& GetActorState() = 0;
};

FSimActorState* GetActorState(AActor* Actor);
UWorld* SimActorGetWorld(const FSimActorState& State);
FVector SimActorGetVelocity(const FSimActorState& State);

template <class TBase>
class TSimActor : public TSimObject<TBase>, public ISimActor
{
public:
	UWorld* GetWorld() const override { return SimActorGetWorld(Actor); }
	std::string GetActorLabel() const override { return Actor.Label; }
	void SetActorLabel(const std::string& Label) override { Actor.Label = Label; }
	std::string GetFolderPath() const override { return Actor.FolderPath; }
	void SetFolderPath(const std::string& Path) override { Actor.FolderPath = Path; }
	FVector GetActorLocation() const override { return Actor.Location; }
	void SetActorLocation(const FVector& Location) override { Actor.Location = Location; }
	FRotator GetActorRotation() const override { return Actor.Rotation; }
	void SetActorRotation(const FRotator& Rotation) override { Actor.Rotation = Rotation; }
	FVector GetActorScale3D() const override { return Actor.Scale; }
	void SetActorScale3D(const FVector& Scale) override { Actor.Scale = Scale; }
	FVector GetVelocity() const override { return SimActorGetVelocity(Actor); }
	std::vector<UActorComponent*> GetComponents() const override { return Actor.Components; }
	UActorComponent* GetRootComponent() const override { return Actor.Root; }
	bool HasActorBegunPlay() const override { return Actor.bBegunPlay; }
	FSimActorState& GetActorState() override { return Actor; }

	FSimActorState Actor;
};

/** Reads an object property of an object by name ("Pawn", "Controller"); null when unset or absent. */
UObject* SimGetObjectProperty(const UObject* Object, std::string_view Name);

class FSimActor final : public TSimActor<AActor>
{
};

class FSimPawn final : public TSimActor<APawn>
{
public:
	AController* GetController() const override { return Cast<AController>(SimGetObjectProperty(this, "Controller")); }
	void SpawnDefaultController() override;
};

/**
 * Makes Controller possess Pawn as the engine's AController::Possess does: a controller the pawn had and a pawn
 * the controller had are let go first; the control rotation starts at the pawn's rotation.
 */
void SimPossess(AController* Controller, APawn* Pawn);
/** Lets go of the controller's pawn, if any. */
void SimUnPossess(AController* Controller);
/** A pawn's collision capsule (its first capsule component), or false when it has none. */
bool SimGetCapsule(const AActor* Actor, double& OutRadius, double& OutHalfHeight);

/** ControlRotation of a controller, read and written through its reflected value. */
FRotator SimGetControlRotation(const UObject* Controller);
void SimSetControlRotation(UObject* Controller, const FRotator& Rotation);

class FSimController final : public TSimActor<AController>
{
public:
	APawn* GetPawn() const override { return Cast<APawn>(SimGetObjectProperty(this, "Pawn")); }
	FRotator GetControlRotation() const override { return SimGetControlRotation(this); }
	void SetControlRotation(const FRotator& Rotation) override { SimSetControlRotation(this, Rotation); }
};

class FSimPlayerController final : public TSimActor<APlayerController>
{
public:
	APawn* GetPawn() const override { return Cast<APawn>(SimGetObjectProperty(this, "Pawn")); }
	FRotator GetControlRotation() const override { return SimGetControlRotation(this); }
	void SetControlRotation(const FRotator& Rotation) override { SimSetControlRotation(this, Rotation); }
	std::string ConsoleCommand(const std::string& Command, bool bWriteToLog = true) override;
	bool InputKey(const FInputKeyParams& Params) override;
	bool IsInputKeyDown(const FKey& Key) const override { return Input.IsKeyDown(Key); }

	AActor* GetViewTarget() const override;
	void SetViewTarget(AActor* NewViewTarget) override;

	/** Key state and the events of the current frame; the world's tick turns them into movement. */
	FSimPlayerInput Input;
	/** Set by SetViewTarget; unset (or destroyed) falls back to the pawn. */
	FWeakObjectPtr ViewTarget;
};

class FSimPathFollowingComponent;

class FSimAIController final : public TSimActor<AAIController>
{
public:
	APawn* GetPawn() const override { return Cast<APawn>(SimGetObjectProperty(this, "Pawn")); }
	FRotator GetControlRotation() const override { return SimGetControlRotation(this); }
	void SetControlRotation(const FRotator& Rotation) override { SimSetControlRotation(this, Rotation); }
	EPathFollowingRequestResult::Type MoveToLocation(const FVector& Dest, float AcceptanceRadius = -1.0f, bool bStopOnOverlap = true,
		bool bUsePathfinding = true, bool bProjectDestinationToNavigation = false, bool bCanStrafe = true, UClass* FilterClass = nullptr,
		bool bAllowPartialPath = true) override;
	EPathFollowingRequestResult::Type MoveToActor(AActor* Goal, float AcceptanceRadius = -1.0f, bool bStopOnOverlap = true,
		bool bUsePathfinding = true, bool bCanStrafe = true, UClass* FilterClass = nullptr, bool bAllowPartialPath = true) override;
	void StopMovement() override;
	EPathFollowingStatus::Type GetMoveStatus() const override;
	UPathFollowingComponent* GetPathFollowingComponent() const override;
	UBlackboardComponent* GetBlackboardComponent() const override;

	FSimPathFollowingComponent* GetSimPathFollowing() const;
};

/** Per-frame work of a world: time, and simple movement. */
class FSimWorldGameplay;
class FSimNavigationSystem;

class FSimWorld final : public TSimObject<UWorld>
{
public:
	FSimWorld();
	~FSimWorld() override;

	EWorldType::Type GetWorldType() const override { return WorldType; }
	double GetTimeSeconds() const override { return TimeSeconds; }
	double GetRealTimeSeconds() const override { return RealTimeSeconds; }
	double GetDeltaSeconds() const override { return DeltaSeconds; }
	bool HasBegunPlay() const override { return bBegunPlay; }
	bool IsTearingDown() const override { return bTearingDown; }
	std::string GetMapName() const override { return MapName; }
	std::string GetPackageName() const override;
	std::vector<AActor*> GetActors() const override;
	AActor* SpawnActor(UClass* Class, const FActorSpawnParameters& Params, std::string* OutError) override;
	bool DestroyActor(AActor* Actor) override;
	APlayerController* GetFirstPlayerController() const override;
	AActor* GetWorldSettings() const override { return WorldSettings; }
	AActor* GetAuthGameMode() const override { return GameMode; }
	bool IsPaused() const override { return bPaused; }
	bool SetGamePaused(bool bInPaused) override;
	double GetGlobalTimeDilation() const override;
	double SetGlobalTimeDilation(double Dilation) override;
	UGameViewportClient* GetGameViewport() const override { return GameViewportClient; }
	UNavigationSystemV1* GetNavigationSystem() const override;

	/** Advances time by DeltaSeconds of real time and runs the world's gameplay; nothing before play begins. */
	void Tick(double RealDeltaSeconds);
	/** Calls BeginPlay on every actor and marks the world begun. */
	void BeginPlay();

	FSimObjectRegistry* Registry = nullptr;
	EWorldType::Type WorldType = EWorldType::Editor;
	std::string MapName;
	UObject* Package = nullptr;
	UObject* Level = nullptr;
	std::vector<AActor*> Actors;
	/** Each actor's state, in the same order as Actors. */
	std::vector<FSimActorState*> ActorStates;
	AActor* WorldSettings = nullptr;
	AActor* GameMode = nullptr;
	double TimeSeconds = 0.0;
	double RealTimeSeconds = 0.0;
	double DeltaSeconds = 0.0;
	bool bBegunPlay = false;
	bool bTearingDown = false;
	bool bPaused = false;
	bool bHasWorldPartition = false;
	/** Play began during this frame's editor tick: game time starts at 0 on the next frame. */
	bool bBeganPlayThisFrame = false;
	/** Next number of the engine's "<Class>_<n>" names, per base name. */
	std::map<std::string, int32> NameCounters;
	/** Cached index of WorldSettings.TimeDilation and friends. */
	int32 TimeDilationIndex = -1;
	/** The PIE viewport's client while this is the PIE world (owned by the editor). */
	UGameViewportClient* GameViewportClient = nullptr;
	/** Input, movement, AI and behaviour of a PIE world; null for editor worlds. */
	std::unique_ptr<FSimWorldGameplay> Gameplay;
	/** Every world has one; it has a navmesh once something built it. */
	std::unique_ptr<FSimNavigationSystem> NavigationSystem;
};

/** Owns every object; the host's object system. */
class FSimObjectRegistry final : public IObjectSystem
{
public:
	/** ProjectDir is the folder holding the .uproject (with or without a trailing '/'). */
	explicit FSimObjectRegistry(std::string ProjectDir);
	~FSimObjectRegistry() override;

	// IObjectSystem
	UObject* FindObject(const std::string& ObjectPath) const override;
	UObject* LoadObject(const std::string& ObjectPath, std::string* OutError) override;
	UClass* LoadClass(const std::string& ClassPath, std::string* OutError) override;
	std::vector<UBlueprint*> GetLoadedBlueprints() const override;
	bool DoesPackageExist(const std::string& LongPackageName) const override;
	bool TryConvertLongPackageNameToFilename(const std::string& LongPackageName, std::string& OutFilename) const override;

	FSimClass* FindClass(const std::string& ClassPath) const;

	/** Creates an object of Class in Outer, with the class defaults. Class must not be an actor or world class. */
	UObject* NewObject(FSimClass* Class, UObject* Outer, const std::string& Name);

	/**
	 * Reads a .umap and builds an editor world from it (the registry does not keep track of which world is
	 * open; the editor does). Null with OutError naming the file and the problem on failure; nothing is left
	 * behind then.
	 */
	FSimWorld* LoadMapWorld(const std::string& LongPackageName, std::string* OutError);
	/** A new world with a WorldSettings actor only (for tests and new maps). */
	FSimWorld* CreateWorld(const std::string& LongPackageName, EWorldType::Type WorldType, const std::string& WorldName = std::string());
	/** Duplicates a world for PIE: package "UEDPIE_<n>_<Map>", same actors and values, references remapped. */
	FSimWorld* DuplicateWorldForPIE(FSimWorld* Source, int32 PIEInstance);
	/** Destroys a world, its level, its actors and its package. */
	void DestroyWorld(FSimWorld* World);

	AActor* SpawnActor(FSimWorld* World, FSimClass* Class, const FActorSpawnParameters& Params, std::string* OutError);
	bool DestroyActor(FSimWorld* World, AActor* Actor);
	/** Destroys one object (not actors or worlds: use DestroyActor / DestroyWorld). */
	void DestroyObject(UObject* Object);
	/** Frees the objects destroyed since the last call. */
	void CollectGarbage();

	/** Streaming levels and world-partition frames of the last map loaded (read by the editor for quiescence). */
	const FMapDocument* GetLastMapDocument() const { return LastMap ? &*LastMap : nullptr; }

	size_t NumObjects() const { return Objects.size(); }
	/** Every live object in creation order (tests and state dumps). */
	std::vector<UObject*> GetAllObjects() const;
	const std::string& GetProjectDir() const { return ProjectDir; }
	/** The file of a package relative to the project ("Content/Maps/Arena.umap"), for messages. */
	std::string RelativeFileOf(const std::string& AbsoluteFile) const;

private:
	template <typename T>
	T* Create(FSimClass* Class, UObject* Outer, const std::string& Name);
	void Register(UObject* Object, bool bIndexPath);
	void BuildNativeClasses();
	void InitDefaults(FSimObjectState& State, FSimClass* Class) const;
	FSimClass* CreateClass(const std::string& Name, UObject* Outer, FSimClass* MetaClass, FSimClass* Super);
	void FinishClass(FSimClass* Class);
	AActor* CreateActor(FSimWorld* World, FSimClass* Class, const std::string& Name);
	/** Creates a component of Class, of the C++ type the class needs (path following, blackboard, ...). */
	UActorComponent* CreateComponent(FSimClass* Class, UObject* Outer, const std::string& Name, AActor* Owner);
	void CreateAnimInstances(AActor* Actor);
	UObject* LoadPackage(const std::string& PackageName, std::string* OutError);
	UObject* LoadEngineContent(const std::string& PackageName);
	UObject* LoadAssetPackage(const std::string& PackageName, const std::string& File, std::string* OutError);
	UObject* ResolveReference(const std::string& Path, bool bWantClass, FSimWorld* World, std::string* OutError);
	bool ApplyJsonProperties(UObject* Object, const FSimJson& Properties, FSimWorld* World, std::string* OutError);
	void RollbackTo(uint64 Serial);
	std::string MakeUniqueActorName(FSimWorld* World, FSimClass* Class);

	std::string ProjectDir;
	uint64 NextSerial = 1;
	std::map<uint64, std::unique_ptr<UObject>> Objects;
	std::unordered_map<std::string, UObject*> PathIndex; // lower-cased path -> object (packages, classes, assets)
	std::vector<std::unique_ptr<UObject>> Garbage;
	std::vector<FSimBlueprint*> LoadedBlueprints;
	std::set<std::string> PackagesLoading;
	std::optional<FMapDocument> LastMap;
	FSimClass* ClassClass = nullptr;
	FSimClass* PackageClass = nullptr;

public:
	/** Native classes used by the editor's rules, looked up once. */
	FSimClass* ActorClass = nullptr;
	FSimClass* ComponentClass = nullptr;
	FSimClass* WorldClass = nullptr;
	FSimClass* LevelClass = nullptr;
	FSimClass* WorldSettingsClass = nullptr;
	FSimClass* PlayerStartClass = nullptr;
	FSimClass* GameModeBaseClass = nullptr;
	FSimClass* AnimInstanceClass = nullptr;
	FSimClass* SkeletalMeshComponentClass = nullptr;
	FSimClass* CharacterMovementClass = nullptr;
	FSimClass* BlueprintGeneratedClassClass = nullptr;
	FSimClass* AnimBlueprintGeneratedClassClass = nullptr;
	FSimClass* StaticMeshComponentClass = nullptr;
	FSimClass* CapsuleComponentClass = nullptr;
	FSimClass* NavMeshBoundsVolumeClass = nullptr;
	FSimClass* StaticMeshClass = nullptr;
	/** Indices of native properties read every frame; a subclass keeps its natives' indices. */
	struct FNativeIndices
	{
		int32 StaticMesh = -1, RelativeLocation = -1, RelativeRotation = -1, RelativeScale3D = -1;
		int32 MeshBoundsExtent = -1, CapsuleRadius = -1, CapsuleHalfHeight = -1;
	} Indices;
};
}
