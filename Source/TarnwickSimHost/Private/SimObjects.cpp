#include "SimObjects.h"
#include "SimAbilitySystem.h"
#include "SimBlackboard.h"
#include "SimFileUtils.h"
#include "SimGameplay.h"
#include "SimNavigationSystem.h"
#include "SimPathFollowing.h"

#include "Logging.h"
#include "Printf.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Tarnwick::Sim
{
namespace
{
std::string ToLower(std::string_view S)
{
	std::string Out(S);
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}

FLogCategory LogBlueprint("LogBlueprint");
FLogCategory LogUObjectGlobals("LogUObjectGlobals");

/** Replaces references to objects of the source world with their duplicates. */
void RemapValue(FPropertyValue& Value, const std::unordered_map<const UObject*, UObject*>& Map)
{
	if (Value.Type == EPropertyType::Object || Value.Type == EPropertyType::Class)
	{
		const auto It = Map.find(Value.ObjectValue.Get());
		if (It != Map.end()) Value.ObjectValue = FWeakObjectPtr(It->second);
	}
	for (auto& Field : Value.Fields) RemapValue(Field.Value, Map);
	for (auto& Element : Value.Elements) RemapValue(Element, Map);
}

void SetMeshBounds(UObject* Mesh, const FVector& Extent)
{
	FSimObjectState& State = AsSim(Mesh)->GetSimState();
	State.Values[static_cast<size_t>(State.Class->IndexOfName("BoundsExtent"))] = FPropertyValue::MakeVector(Extent);
}

/** Events of Base followed by those of Extra. */
std::shared_ptr<const FSimEventGraph> CombineGraphs(const std::shared_ptr<const FSimEventGraph>& Base, const std::shared_ptr<const FSimEventGraph>& Extra)
{
	if (!Base) return Extra;
	if (!Extra) return Base;
	auto Out = std::make_shared<FSimEventGraph>(*Base);
	Out->Events.insert(Out->Events.end(), Extra->Events.begin(), Extra->Events.end());
	return Out;
}

FSimAbilitySystemComponent* FindAbilitySystem(const FSimActorState& State)
{
	for (UActorComponent* C : State.Components)
	{
		if (auto* Asc = dynamic_cast<FSimAbilitySystemComponent*>(C)) return Asc;
	}
	return nullptr;
}

const char* ShortClassName(const std::string& Path)
{
	const size_t Dot = Path.rfind('.');
	return Dot == std::string::npos ? Path.c_str() : Path.c_str() + Dot + 1;
}
}

ISimObject* AsSim(UObject* Object) { return dynamic_cast<ISimObject*>(Object); }

const FSimObjectState* GetSimState(const UObject* Object)
{
	ISimObject* Sim = dynamic_cast<ISimObject*>(const_cast<UObject*>(Object));
	return Sim ? &Sim->GetSimState() : nullptr;
}

std::string MakePathName(const UObject* Outer, const std::string& Name)
{
	if (!Outer) return Name;
	const UObject* OuterOuter = Outer->GetOuter();
	// The engine puts ':' between a package's top-level object and its subobjects.
	const char Sep = OuterOuter && !OuterOuter->GetOuter() ? ':' : '.';
	return Outer->GetPathName() + Sep + Name;
}

bool SimGetPropertyValue(const FSimObjectState& State, const FProperty& Property, FPropertyValue& OutValue)
{
	const int32 Index = State.Class ? State.Class->IndexOf(&Property) : -1;
	if (Index < 0 || Index >= static_cast<int32>(State.Values.size())) return false;
	OutValue = State.Values[static_cast<size_t>(Index)];
	return true;
}

bool SimSetPropertyValue(FSimObjectState& State, const FProperty& Property, const FPropertyValue& Value, std::string* OutError)
{
	const int32 Index = State.Class ? State.Class->IndexOf(&Property) : -1;
	if (Index < 0 || Index >= static_cast<int32>(State.Values.size()))
	{
		if (OutError)
		{
			*OutError = Tarnwick::Printf("property '%s' does not belong to class %s", Property.Name.c_str(),
				State.Class ? State.Class->GetPathName().c_str() : "<none>");
		}
		return false;
	}
	std::optional<FPropertyValue> Coerced = CoercePropertyValue(Property, Value, OutError);
	if (!Coerced) return false;
	State.Values[static_cast<size_t>(Index)] = std::move(*Coerced);
	return true;
}

UObject* SimGetObjectProperty(const UObject* Object, std::string_view Name)
{
	const FSimObjectState* State = GetSimState(Object);
	if (!State || !State->Class) return nullptr;
	const int32 Index = State->Class->IndexOfName(Name);
	if (Index < 0) return nullptr;
	return State->Values[static_cast<size_t>(Index)].ObjectValue.Get();
}

FSimActorState* GetActorState(AActor* Actor)
{
	ISimActor* Sim = dynamic_cast<ISimActor*>(Actor);
	return Sim ? &Sim->GetActorState() : nullptr;
}

UWorld* SimActorGetWorld(const FSimActorState& State) { return State.World; }

FVector SimActorGetVelocity(const FSimActorState& State)
{
	if (!State.MovementValues || State.VelocityIndex < 0) return FVector();
	return State.MovementValues->Values[static_cast<size_t>(State.VelocityIndex)].VectorValue;
}

// --- FSimClass ---

UClass* FSimClass::GetSuperClass() const { return Super; }

const FProperty* FSimClass::FindPropertyByName(std::string_view Name) const
{
	const int32 Index = IndexOfName(Name);
	return Index < 0 ? nullptr : AllProperties[static_cast<size_t>(Index)];
}

int32 FSimClass::IndexOf(const FProperty* Property) const
{
	const auto It = IndexByProperty.find(Property);
	return It == IndexByProperty.end() ? -1 : It->second;
}

int32 FSimClass::IndexOfName(std::string_view Name) const
{
	const auto It = IndexByLowerName.find(Name);
	return It == IndexByLowerName.end() ? -1 : It->second;
}

bool FSimClass::FNoCaseLess::operator()(std::string_view A, std::string_view B) const
{
	const size_t N = std::min(A.size(), B.size());
	for (size_t I = 0; I < N; ++I)
	{
		const int CA = std::tolower(static_cast<unsigned char>(A[I]));
		const int CB = std::tolower(static_cast<unsigned char>(B[I]));
		if (CA != CB) return CA < CB;
	}
	return A.size() < B.size();
}

bool FSimClass::AddProperty(FProperty Property)
{
	const std::string Key = ToLower(Property.Name);
	if (IndexByLowerName.count(Key)) return false;
	OwnProperties.push_back(std::move(Property));
	const FProperty* Added = &OwnProperties.back();
	const int32 Index = static_cast<int32>(AllProperties.size());
	AllProperties.push_back(Added);
	IndexByLowerName[Key] = Index;
	IndexByProperty[Added] = Index;
	return true;
}

bool FSimClass::IsA(const std::string& AncestorPath) const
{
	for (const FSimClass* C = this; C; C = C->Super)
	{
		if (C->GetPathName() == AncestorPath) return true;
	}
	return false;
}

UClass* FSimBlueprint::GetGeneratedClass() const { return GeneratedClass; }
UClass* FSimBlueprint::GetParentClass() const { return ParentClass; }

// --- FSimWorld ---

FSimWorld::FSimWorld() : NavigationSystem(std::make_unique<FSimNavigationSystem>(*this)) {}
FSimWorld::~FSimWorld() = default;

UNavigationSystemV1* FSimWorld::GetNavigationSystem() const { return NavigationSystem.get(); }

std::string FSimWorld::GetPackageName() const { return Package ? Package->GetName() : std::string(); }

std::vector<AActor*> FSimWorld::GetActors() const
{
	std::vector<AActor*> Out;
	Out.reserve(Actors.size());
	for (AActor* A : Actors)
	{
		if (!A->IsPendingKill()) Out.push_back(A);
	}
	return Out;
}

AActor* FSimWorld::SpawnActor(UClass* Class, const FActorSpawnParameters& Params, std::string* OutError)
{
	FSimClass* SimClass = dynamic_cast<FSimClass*>(Class);
	if (!SimClass)
	{
		if (OutError) *OutError = "SpawnActor: no class given";
		return nullptr;
	}
	return Registry->SpawnActor(this, SimClass, Params, OutError);
}

bool FSimWorld::DestroyActor(AActor* Actor) { return Registry->DestroyActor(this, Actor); }

APlayerController* FSimWorld::GetFirstPlayerController() const
{
	// Asked many times a frame (event graphs, input, every sampled player root); the engine answers from its
	// player controller list, so walk the states, which know what each actor is, and cast only the answer.
	for (const FSimActorState* Actor : ActorStates)
	{
		if (Actor->bIsPlayerController && !Actor->Self->IsPendingKill()) return Cast<APlayerController>(Actor->Self);
	}
	return nullptr;
}

bool FSimWorld::SetGamePaused(bool bInPaused)
{
	if (!GetFirstPlayerController()) return false;
	bPaused = bInPaused;
	return true;
}

double FSimWorld::GetGlobalTimeDilation() const
{
	if (!WorldSettings || TimeDilationIndex < 0) return 1.0;
	return AsSim(WorldSettings)->GetSimState().Values[static_cast<size_t>(TimeDilationIndex)].DoubleValue;
}

double FSimWorld::SetGlobalTimeDilation(double Dilation)
{
	if (!WorldSettings || TimeDilationIndex < 0) return 1.0;
	FSimObjectState& WS = AsSim(WorldSettings)->GetSimState();
	const double Min = WS.Values[static_cast<size_t>(WS.Class->IndexOfName("MinGlobalTimeDilation"))].DoubleValue;
	const double Max = WS.Values[static_cast<size_t>(WS.Class->IndexOfName("MaxGlobalTimeDilation"))].DoubleValue;
	// Stored as the float the engine keeps, so that reading it back gives what the engine would give.
	const float Clamped = static_cast<float>(std::clamp(Dilation, Min, Max));
	WS.Values[static_cast<size_t>(TimeDilationIndex)].DoubleValue = Clamped;
	return Clamped;
}

void FSimWorld::Tick(double RealDeltaSeconds)
{
	// Navigation regenerates in every world, playing or not (the editor's, too).
	if (NavigationSystem && !bTearingDown) NavigationSystem->TickWorld();
	if (!bBegunPlay || bTearingDown || bBeganPlayThisFrame)
	{
		bBeganPlayThisFrame = false;
		DeltaSeconds = 0.0;
		return;
	}
	RealTimeSeconds += RealDeltaSeconds;
	DeltaSeconds = bPaused ? 0.0 : RealDeltaSeconds * GetGlobalTimeDilation();
	TimeSeconds += DeltaSeconds;
	if (Gameplay) Gameplay->Tick(DeltaSeconds);
}

void FSimWorld::BeginPlay()
{
	for (AActor* A : Actors)
	{
		if (FSimActorState* S = GetActorState(A)) S->bBegunPlay = true;
	}
	bBegunPlay = true;
	bBeganPlayThisFrame = true;
	if (Gameplay) Gameplay->BeginPlay();
}

// --- FSimObjectRegistry ---

FSimObjectRegistry::FSimObjectRegistry(std::string InProjectDir) : ProjectDir(std::move(InProjectDir))
{
	if (!ProjectDir.empty() && ProjectDir.back() != '/') ProjectDir.push_back('/');
	BuildNativeClasses();
}

FSimObjectRegistry::~FSimObjectRegistry()
{
	// Destroy newest first so that outers outlive what they contain.
	while (!Objects.empty())
	{
		auto It = std::prev(Objects.end());
		std::unique_ptr<UObject> Object = std::move(It->second);
		Objects.erase(It);
		Object.reset();
	}
	Garbage.clear();
}

template <typename T>
T* FSimObjectRegistry::Create(FSimClass* Class, UObject* Outer, const std::string& Name)
{
	auto Owned = std::make_unique<T>();
	T* Object = Owned.get();
	FSimObjectState& State = Object->State;
	State.Class = Class;
	State.Name = Name;
	State.Outer = Outer;
	State.Serial = NextSerial++;
	if (Class) InitDefaults(State, Class);
	Objects.emplace(State.Serial, std::move(Owned));
	return Object;
}

void FSimObjectRegistry::Register(UObject* Object, bool bIndexPath)
{
	if (bIndexPath) PathIndex[ToLower(Object->GetPathName())] = Object;
}

void FSimObjectRegistry::InitDefaults(FSimObjectState& State, FSimClass* Class) const
{
	if (const FSimObjectState* CDO = GetSimState(Class->DefaultObject))
	{
		State.Values = CDO->Values;
		return;
	}
	State.Values.clear();
	for (const FProperty* P : Class->GetProperties()) State.Values.push_back(MakeZeroValue(*P));
}

FSimClass* FSimObjectRegistry::CreateClass(const std::string& Name, UObject* Outer, FSimClass* MetaClass, FSimClass* Super)
{
	FSimClass* Class = Create<FSimClass>(MetaClass, Outer, Name);
	Class->Super = Super;
	if (Super)
	{
		Class->Kind = Super->Kind;
		for (const FProperty* P : Super->AllProperties)
		{
			const int32 Index = static_cast<int32>(Class->AllProperties.size());
			Class->AllProperties.push_back(P);
			Class->IndexByLowerName[ToLower(P->Name)] = Index;
			Class->IndexByProperty[P] = Index;
		}
		Class->Components = Super->Components;
	}
	return Class;
}

void FSimObjectRegistry::FinishClass(FSimClass* Class)
{
	// The class default object: the super's defaults, then zero values for the class's own properties.
	FSimObject* CDO = Create<FSimObject>(nullptr, Class->GetOuter(), "Default__" + Class->GetName());
	CDO->State.Class = Class;
	const FSimObjectState* SuperCDO = Class->Super ? GetSimState(Class->Super->DefaultObject) : nullptr;
	for (size_t I = 0; I < Class->AllProperties.size(); ++I)
	{
		CDO->State.Values.push_back(SuperCDO && I < SuperCDO->Values.size() ? SuperCDO->Values[I] : MakeZeroValue(*Class->AllProperties[I]));
	}
	Class->DefaultObject = CDO;
}

void FSimObjectRegistry::BuildNativeClasses()
{
	// The metaclass is bootstrapped: /Script/CoreUObject.Class is an instance of itself.
	std::map<std::string, FSimClass*> ByPath;
	std::map<std::string, UObject*> Packages;
	auto GetPackage = [&](const std::string& Name) {
		auto& P = Packages[Name];
		if (!P)
		{
			P = Create<FSimObject>(nullptr, nullptr, Name);
			Register(P, true);
		}
		return P;
	};
	for (const FNativeClassDesc& Desc : GetNativeClassTable())
	{
		const std::string Path = Desc.Path;
		const std::string PackageName = FPackageName::ObjectPathToPackageName(Path);
		FSimClass* Super = Desc.SuperPath[0] ? ByPath.at(Desc.SuperPath) : nullptr;
		FSimClass* Class = CreateClass(ShortClassName(Path), GetPackage(PackageName), nullptr, Super);
		Class->Kind = Desc.Kind;
		Class->bAbstract = Desc.bAbstract;
		Class->DisplayName = Class->GetName();
		for (const FNativePropertyDesc& P : Desc.Properties)
		{
			std::string Error;
			std::optional<FProperty> Prop = ParsePropertyType(P.Name, P.TypeSpec, &Error);
			if (!Prop || !Class->AddProperty(std::move(*Prop)))
			{
				TW_LOG(LogUObjectGlobals, Error, "Native class %s: bad property %s: %s", Path.c_str(), P.Name, Error.c_str());
			}
		}
		ByPath[Path] = Class;
		Register(Class, true);
		if (Path == "/Script/CoreUObject.Class") ClassClass = Class;
		if (Path == "/Script/CoreUObject.Package") PackageClass = Class;
	}
	// Now that the metaclass and package class exist, give every object its class, then build defaults in
	// table order (supers first), resolving class references among the natives.
	for (auto& [Serial, Object] : Objects)
	{
		FSimObjectState& State = AsSim(Object.get())->GetSimState();
		if (!State.Class) State.Class = dynamic_cast<FSimClass*>(Object.get()) ? ClassClass : PackageClass;
	}
	for (const FNativeClassDesc& Desc : GetNativeClassTable())
	{
		FSimClass* Class = ByPath.at(Desc.Path);
		FinishClass(Class);
	}
	auto Resolver = [&](const std::string& Path, bool, std::string* OutError) -> UObject* {
		const auto It = ByPath.find(Path);
		if (It == ByPath.end())
		{
			if (OutError) *OutError = "no such native class";
			return nullptr;
		}
		return It->second;
	};
	for (const FNativeClassDesc& Desc : GetNativeClassTable())
	{
		FSimClass* Class = ByPath.at(Desc.Path);
		FSimObjectState& CDO = AsSim(Class->DefaultObject)->GetSimState();
		if (Class->Super)
		{
			// Supers are finished first, so their defaults (including resolved references) carry over.
			const FSimObjectState& SuperCDO = AsSim(Class->Super->DefaultObject)->GetSimState();
			for (size_t I = 0; I < SuperCDO.Values.size(); ++I) CDO.Values[I] = SuperCDO.Values[I];
		}
		for (const FNativePropertyDesc& P : Desc.Properties)
		{
			if (!P.DefaultJson[0]) continue;
			const int32 Index = Class->IndexOfName(P.Name);
			std::string Error;
			std::optional<FPropertyValue> V = PropertyValueFromJson(*Class->AllProperties[static_cast<size_t>(Index)],
				FSimJson::parse(P.DefaultJson), Resolver, &CDO.Values[static_cast<size_t>(Index)], &Error);
			if (V) CDO.Values[static_cast<size_t>(Index)] = std::move(*V);
			else TW_LOG(LogUObjectGlobals, Error, "Native class %s: bad default of %s: %s", Desc.Path, P.Name, Error.c_str());
		}
		Class->Components = Class->Super ? Class->Super->Components : std::vector<FSimComponentTemplate>();
		for (const FNativeComponentDesc& C : Desc.Components)
		{
			FSimComponentTemplate T;
			T.Name = C.Name;
			T.Class = ByPath.at(C.ClassPath);
			T.BoundProperty = C.BoundProperty;
			T.Values = AsSim(T.Class->DefaultObject)->GetSimState().Values;
			Class->Components.push_back(std::move(T));
		}
		// Component classes come before the actors in the table, so the template values copied here are final.
	}
	ActorClass = ByPath.at("/Script/Engine.Actor");
	ComponentClass = ByPath.at("/Script/Engine.ActorComponent");
	WorldClass = ByPath.at("/Script/Engine.World");
	LevelClass = ByPath.at("/Script/Engine.Level");
	WorldSettingsClass = ByPath.at("/Script/Engine.WorldSettings");
	PlayerStartClass = ByPath.at("/Script/Engine.PlayerStart");
	GameModeBaseClass = ByPath.at("/Script/Engine.GameModeBase");
	AnimInstanceClass = ByPath.at("/Script/Engine.AnimInstance");
	SkeletalMeshComponentClass = ByPath.at("/Script/Engine.SkeletalMeshComponent");
	CharacterMovementClass = ByPath.at("/Script/Engine.CharacterMovementComponent");
	BlueprintGeneratedClassClass = ByPath.at("/Script/Engine.BlueprintGeneratedClass");
	AnimBlueprintGeneratedClassClass = ByPath.at("/Script/Engine.AnimBlueprintGeneratedClass");
	StaticMeshComponentClass = ByPath.at("/Script/Engine.StaticMeshComponent");
	CapsuleComponentClass = ByPath.at("/Script/Engine.CapsuleComponent");
	NavMeshBoundsVolumeClass = ByPath.at("/Script/NavigationSystem.NavMeshBoundsVolume");
	StaticMeshClass = ByPath.at("/Script/Engine.StaticMesh");
	Indices.StaticMesh = StaticMeshComponentClass->IndexOfName("StaticMesh");
	Indices.RelativeLocation = StaticMeshComponentClass->IndexOfName("RelativeLocation");
	Indices.RelativeRotation = StaticMeshComponentClass->IndexOfName("RelativeRotation");
	Indices.RelativeScale3D = StaticMeshComponentClass->IndexOfName("RelativeScale3D");
	Indices.MeshBoundsExtent = StaticMeshClass->IndexOfName("BoundsExtent");
	Indices.CapsuleRadius = CapsuleComponentClass->IndexOfName("CapsuleRadius");
	Indices.CapsuleHalfHeight = CapsuleComponentClass->IndexOfName("CapsuleHalfHeight");
}

FSimClass* FSimObjectRegistry::FindClass(const std::string& ClassPath) const
{
	return dynamic_cast<FSimClass*>(FindObject(ClassPath));
}

UObject* FSimObjectRegistry::FindObject(const std::string& ObjectPath) const
{
	const auto It = PathIndex.find(ToLower(ObjectPath));
	return It == PathIndex.end() || It->second->IsPendingKill() ? nullptr : It->second;
}

UObject* FSimObjectRegistry::NewObject(FSimClass* Class, UObject* Outer, const std::string& Name)
{
	if (!Class || Class->Kind == ESimObjectKind::World || Class->Kind == ESimObjectKind::Class) return nullptr;
	if (Class->IsChildOf(ActorClass)) return nullptr;
	if (Class->IsChildOf(ComponentClass)) return CreateComponent(Class, Outer, Name, dynamic_cast<AActor*>(Outer));
	return Create<FSimObject>(Class, Outer, Name);
}

std::vector<UObject*> FSimObjectRegistry::GetAllObjects() const
{
	std::vector<UObject*> Out;
	Out.reserve(Objects.size());
	for (const auto& [Serial, Object] : Objects) Out.push_back(Object.get());
	return Out;
}

std::string FSimObjectRegistry::RelativeFileOf(const std::string& AbsoluteFile) const
{
	return AbsoluteFile.rfind(ProjectDir, 0) == 0 ? AbsoluteFile.substr(ProjectDir.size()) : AbsoluteFile;
}

std::vector<UBlueprint*> FSimObjectRegistry::GetLoadedBlueprints() const
{
	std::vector<UBlueprint*> Out;
	for (FSimBlueprint* BP : LoadedBlueprints)
	{
		if (!BP->IsPendingKill()) Out.push_back(BP);
	}
	return Out;
}

namespace
{
struct FEngineShape
{
	const char* Package;
	double Extent[3];
};
const FEngineShape GEngineShapes[] = {
	{"/Engine/BasicShapes/Plane", {50, 50, 0}},
	{"/Engine/BasicShapes/Cube", {50, 50, 50}},
	{"/Engine/BasicShapes/Sphere", {50, 50, 50}},
	{"/Engine/BasicShapes/Cylinder", {50, 50, 50}},
	{"/Engine/BasicShapes/Cone", {50, 50, 50}},
};
}

bool FSimObjectRegistry::DoesPackageExist(const std::string& LongPackageName) const
{
	if (LongPackageName.rfind("/Engine/", 0) == 0)
	{
		for (const FEngineShape& S : GEngineShapes)
		{
			if (ToLower(S.Package) == ToLower(LongPackageName)) return true;
		}
		return false;
	}
	std::string File;
	if (!TryConvertLongPackageNameToFilename(LongPackageName, File)) return false;
	std::error_code Ec;
	return std::filesystem::is_regular_file(File, Ec);
}

bool FSimObjectRegistry::TryConvertLongPackageNameToFilename(const std::string& LongPackageName, std::string& OutFilename) const
{
	if (!FPackageName::IsValidLongPackageName(LongPackageName)) return false;
	const std::optional<std::string> Base = FPackageMount::GameRelativeBase(LongPackageName);
	if (!Base) return false;
	std::error_code Ec;
	const std::string Map = ProjectDir + *Base + ".umap";
	OutFilename = std::filesystem::is_regular_file(Map, Ec) ? Map : ProjectDir + *Base + ".uasset";
	return true;
}

UObject* FSimObjectRegistry::LoadObject(const std::string& ObjectPath, std::string* OutError)
{
	if (UObject* Found = FindObject(ObjectPath)) return Found;
	const std::string PackageName = FPackageName::ObjectPathToPackageName(ObjectPath);
	if (PackageName.rfind("/Script/", 0) == 0)
	{
		if (OutError) *OutError = Tarnwick::Printf("no native class or object '%s'", ObjectPath.c_str());
		return nullptr;
	}
	if (!LoadPackage(PackageName, OutError)) return nullptr;
	std::string Path = ObjectPath;
	if (Path.find('.') == std::string::npos) Path += "." + FPackageName::GetShortName(PackageName);
	if (UObject* Found = FindObject(Path)) return Found;
	if (OutError) *OutError = Tarnwick::Printf("package '%s' has no object '%s'", PackageName.c_str(), ObjectPath.c_str());
	return nullptr;
}

UClass* FSimObjectRegistry::LoadClass(const std::string& ClassPath, std::string* OutError)
{
	UObject* Object = LoadObject(ClassPath, OutError);
	if (!Object) return nullptr;
	if (auto* BP = dynamic_cast<FSimBlueprint*>(Object))
	{
		// Passing the Blueprint asset where its class is meant is a common slip; the engine's loaders accept it too.
		return BP->GeneratedClass;
	}
	UClass* Class = Cast<UClass>(Object);
	if (!Class && OutError) *OutError = Tarnwick::Printf("'%s' is a %s, not a class", ClassPath.c_str(), Object->GetClass()->GetName().c_str());
	return Class;
}

UObject* FSimObjectRegistry::LoadPackage(const std::string& PackageName, std::string* OutError)
{
	if (UObject* Package = FindObject(PackageName)) return Package;
	std::string Reason;
	if (!FPackageName::IsValidLongPackageName(PackageName, &Reason))
	{
		if (OutError) *OutError = Tarnwick::Printf("'%s' is not a valid package name: %s", PackageName.c_str(), Reason.c_str());
		return nullptr;
	}
	if (PackageName.rfind("/Engine/", 0) == 0)
	{
		if (UObject* P = LoadEngineContent(PackageName)) return P;
		if (OutError) *OutError = Tarnwick::Printf("no engine content '%s'", PackageName.c_str());
		return nullptr;
	}
	const std::optional<std::string> Base = FPackageMount::GameRelativeBase(PackageName);
	if (!Base)
	{
		if (OutError) *OutError = Tarnwick::Printf("no mount point for '%s' (project content is under /Game/)", PackageName.c_str());
		return nullptr;
	}
	std::error_code Ec;
	if (std::filesystem::is_regular_file(ProjectDir + *Base + ".umap", Ec))
	{
		if (OutError) *OutError = Tarnwick::Printf("'%s' is a map (%s.umap); open it in the editor instead", PackageName.c_str(), Base->c_str());
		return nullptr;
	}
	const std::string File = ProjectDir + *Base + ".uasset";
	if (!std::filesystem::is_regular_file(File, Ec))
	{
		if (OutError) *OutError = Tarnwick::Printf("no such package '%s' (expected %s.uasset)", PackageName.c_str(), Base->c_str());
		return nullptr;
	}
	return LoadAssetPackage(PackageName, File, OutError);
}

UObject* FSimObjectRegistry::LoadEngineContent(const std::string& PackageName)
{
	for (const FEngineShape& S : GEngineShapes)
	{
		if (ToLower(S.Package) != ToLower(PackageName)) continue;
		UObject* Package = Create<FSimObject>(PackageClass, nullptr, S.Package);
		Register(Package, true);
		UObject* Mesh = NewObject(FindClass("/Script/Engine.StaticMesh"), Package, FPackageName::GetShortName(S.Package));
		SetMeshBounds(Mesh, FVector(S.Extent[0], S.Extent[1], S.Extent[2]));
		Register(Mesh, true);
		AsSim(Mesh)->GetSimState().Mesh = FSimMeshInfo{FVector(S.Extent[0], S.Extent[1], S.Extent[2]), std::nullopt};
		return Package;
	}
	return nullptr;
}

void FSimObjectRegistry::RollbackTo(uint64 Serial)
{
	for (auto It = Objects.lower_bound(Serial); It != Objects.end(); ++It)
	{
		UObject* Object = It->second.get();
		std::erase_if(PathIndex, [&](const auto& KV) { return KV.second == Object; });
		std::erase(LoadedBlueprints, dynamic_cast<FSimBlueprint*>(Object));
		AsSim(Object)->MarkPendingKill();
	}
	while (!Objects.empty() && std::prev(Objects.end())->first >= Serial)
	{
		auto It = std::prev(Objects.end());
		Garbage.push_back(std::move(It->second));
		Objects.erase(It);
	}
}

UObject* FSimObjectRegistry::ResolveReference(const std::string& Path, bool bWantClass, FSimWorld* World, std::string* OutError)
{
	// Inside a map, a bare name refers to another actor of the same level.
	if (World && !Path.empty() && Path.front() != '/')
	{
		for (AActor* A : World->Actors)
		{
			if (!A->IsPendingKill() && A->GetName() == Path) return A;
		}
		if (OutError) *OutError = "no actor of that name in this map";
		return nullptr;
	}
	return bWantClass ? static_cast<UObject*>(LoadClass(Path, OutError)) : LoadObject(Path, OutError);
}

bool FSimObjectRegistry::ApplyJsonProperties(UObject* Object, const FSimJson& Properties, FSimWorld* World, std::string* OutError)
{
	FSimObjectState& State = AsSim(Object)->GetSimState();
	const FObjectResolver Resolver = [&](const std::string& Path, bool bWantClass, std::string* Why) {
		return ResolveReference(Path, bWantClass, World, Why);
	};
	for (auto It = Properties.begin(); It != Properties.end(); ++It)
	{
		const int32 Index = State.Class->IndexOfName(It.key());
		if (Index < 0)
		{
			if (OutError) *OutError = Tarnwick::Printf("class %s has no property '%s'", State.Class->GetPathName().c_str(), It.key().c_str());
			return false;
		}
		const FProperty& Property = *State.Class->GetProperties()[static_cast<size_t>(Index)];
		std::optional<FPropertyValue> Value = PropertyValueFromJson(Property, It.value(), Resolver, &State.Values[static_cast<size_t>(Index)], OutError);
		if (!Value) return false;
		State.Values[static_cast<size_t>(Index)] = std::move(*Value);
	}
	return true;
}

UObject* FSimObjectRegistry::LoadAssetPackage(const std::string& PackageName, const std::string& File, std::string* OutError)
{
	const std::string Label = RelativeFileOf(File);
	auto Fail = [&](const std::string& What, uint64 Since) -> UObject* {
		if (Since) RollbackTo(Since);
		if (OutError) *OutError = What.rfind(Label + ": ", 0) == 0 ? What : Label + ": " + What;
		return nullptr;
	};
	if (PackagesLoading.count(ToLower(PackageName)))
	{
		return Fail("its parent class leads back to itself (circular Blueprint inheritance)", 0);
	}
	std::string Text;
	if (!ReadTextFile(File, Text)) return Fail("cannot be read", 0);
	std::string Error;
	std::optional<FAssetDocument> Doc = ParseAssetDocument(Text, Label, &Error);
	if (!Doc) return Fail(Error, 0);

	const std::string AssetName = FPackageName::GetShortName(PackageName);
	if (Doc->Type == EAssetDocumentType::BlackboardData)
	{
		UObject* Package = Create<FSimObject>(PackageClass, nullptr, PackageName);
		Register(Package, true);
		auto* Data = Create<FSimBlackboardData>(FindClass("/Script/AIModule.BlackboardData"), Package, AssetName);
		Data->Keys = Doc->BlackboardKeys;
		Register(Data, true);
		return Package;
	}
	if (Doc->Type == EAssetDocumentType::DataAsset)
	{
		// The asset's class first (a Blueprint class loads its package); it must be a DataAsset.
		std::string Why;
		FSimClass* Class = dynamic_cast<FSimClass*>(LoadClass(Doc->DataAssetClass, &Why));
		if (!Class) return Fail(Tarnwick::Printf("Class '%s' cannot be used: %s", Doc->DataAssetClass.c_str(), Why.c_str()), 0);
		if (!Class->IsA("/Script/Engine.DataAsset"))
		{
			return Fail(Tarnwick::Printf("Class %s is not a DataAsset class (it must derive from /Script/Engine.DataAsset)", Doc->DataAssetClass.c_str()), 0);
		}
		const uint64 Since = NextSerial;
		UObject* Package = Create<FSimObject>(PackageClass, nullptr, PackageName);
		Register(Package, true);
		UObject* Asset = NewObject(Class, Package, AssetName);
		Register(Asset, true);
		std::string Error2;
		if (!ApplyJsonProperties(Asset, Doc->DataAssetProperties, nullptr, &Error2)) return Fail("Properties: " + Error2, Since);
		return Package;
	}
	if (Doc->Type == EAssetDocumentType::StaticMesh || Doc->Type == EAssetDocumentType::SkeletalMesh)
	{
		const uint64 Since = NextSerial;
		UObject* Package = Create<FSimObject>(PackageClass, nullptr, PackageName);
		Register(Package, true);
		UObject* Mesh = NewObject(FindClass(Doc->Type == EAssetDocumentType::StaticMesh ? "/Script/Engine.StaticMesh" : "/Script/Engine.SkeletalMesh"),
			Package, AssetName);
		SetMeshBounds(Mesh, Doc->BoundsExtent);
		Register(Mesh, true);
		AsSim(Mesh)->GetSimState().Mesh = FSimMeshInfo{Doc->BoundsExtent, Doc->Color};
		(void)Since;
		return Package;
	}

	// A Blueprint: load the parent first (it may be another Blueprint), guarding against cycles.
	PackagesLoading.insert(ToLower(PackageName));
	std::string ParentError;
	UClass* ParentUClass = LoadClass(Doc->ParentClass, &ParentError);
	PackagesLoading.erase(ToLower(PackageName));
	FSimClass* Parent = dynamic_cast<FSimClass*>(ParentUClass);
	if (!Parent)
	{
		if (ParentError.find(".uasset: ") != std::string::npos || ParentError.find(".umap: ") != std::string::npos)
		{
			return Fail(Tarnwick::Printf("ParentClass '%s' failed to load: %s", Doc->ParentClass.c_str(), ParentError.c_str()), 0);
		}
		return Fail(Tarnwick::Printf("ParentClass '%s' cannot be used: %s", Doc->ParentClass.c_str(), ParentError.c_str()), 0);
	}
	const bool bAnim = Doc->Type == EAssetDocumentType::AnimBlueprint;
	if (bAnim != Parent->IsChildOf(AnimInstanceClass))
	{
		return Fail(bAnim ? Tarnwick::Printf("an AnimBlueprint's ParentClass must derive from /Script/Engine.AnimInstance; %s does not",
								 Doc->ParentClass.c_str())
						  : Tarnwick::Printf("ParentClass %s is an animation class; use \"Type\": \"AnimBlueprint\"", Doc->ParentClass.c_str()),
			0);
	}
	if (Parent->Kind == ESimObjectKind::World || Parent->Kind == ESimObjectKind::Class || Parent->Kind == ESimObjectKind::Package ||
		Parent->Kind == ESimObjectKind::Level || Parent->Kind == ESimObjectKind::Blueprint)
	{
		return Fail(Tarnwick::Printf("ParentClass %s cannot be the parent of a Blueprint", Doc->ParentClass.c_str()), 0);
	}

	const uint64 Since = NextSerial;
	UObject* Package = Create<FSimObject>(PackageClass, nullptr, PackageName);
	Register(Package, true);
	FSimBlueprint* BP = Create<FSimBlueprint>(FindClass(bAnim ? "/Script/Engine.AnimBlueprint" : "/Script/Engine.Blueprint"), Package, AssetName);
	Register(BP, true);
	FSimClass* Class = CreateClass(AssetName + "_C", Package, bAnim ? AnimBlueprintGeneratedClassClass : BlueprintGeneratedClassClass, Parent);
	Class->bNative = false;
	Class->DisplayName = AssetName;
	Class->GeneratedBy = BP;
	BP->GeneratedClass = Class;
	BP->ParentClass = Parent;
	BP->Status = Doc->Status;
	BP->bDisplayCompilePIEWarning = Doc->bDisplayCompilePIEWarning;
	BP->CompileErrors = Doc->CompileErrors;
	for (size_t I = 0; I < Doc->Variables.size(); ++I)
	{
		const FVariableDocument& Var = Doc->Variables[I];
		std::optional<FProperty> Prop = ParsePropertyType(Var.Name, Var.TypeSpec, &Error);
		if (!Prop) return Fail(Tarnwick::Printf("Variables[%d] (%s): %s", static_cast<int>(I), Var.Name.c_str(), Error.c_str()), Since);
		if (!Class->AddProperty(std::move(*Prop)))
		{
			return Fail(Tarnwick::Printf("Variables[%d] (%s): the parent class already has a property of that name", static_cast<int>(I),
							Var.Name.c_str()),
				Since);
		}
	}
	for (size_t I = 0; I < Doc->AddedComponents.size(); ++I)
	{
		const FAddedComponentDocument& C = Doc->AddedComponents[I];
		const std::string Where = Tarnwick::Printf("Components[%d] (%s): ", static_cast<int>(I), C.Name.c_str());
		if (!Class->IsChildOf(ActorClass)) return Fail(Where + "only actor Blueprints have components", Since);
		std::string Why;
		FSimClass* CompClass = dynamic_cast<FSimClass*>(LoadClass(C.ClassPath, &Why));
		if (!CompClass) return Fail(Where + Tarnwick::Printf("class '%s': %s", C.ClassPath.c_str(), Why.c_str()), Since);
		if (!CompClass->IsChildOf(ComponentClass) || CompClass->bAbstract)
		{
			return Fail(Where + Tarnwick::Printf("%s is not a concrete component class", C.ClassPath.c_str()), Since);
		}
		for (const FSimComponentTemplate& T : Class->Components)
		{
			if (ToLower(T.Name) == ToLower(C.Name)) return Fail(Where + "a component of that name already exists", Since);
		}
		FSimComponentTemplate T;
		T.Name = C.Name;
		T.Class = CompClass;
		T.Values = AsSim(CompClass->DefaultObject)->GetSimState().Values;
		Class->Components.push_back(std::move(T));
	}
	Register(Class, true);
	FinishClass(Class);
	Register(Class->DefaultObject, true);
	FSimObjectState& CDO = AsSim(Class->DefaultObject)->GetSimState();
	const FObjectResolver Resolver = [&](const std::string& Path, bool bWantClass, std::string* Why) {
		return ResolveReference(Path, bWantClass, nullptr, Why);
	};
	for (size_t I = 0; I < Doc->Variables.size(); ++I)
	{
		const FVariableDocument& Var = Doc->Variables[I];
		if (Var.Default.is_null()) continue;
		const int32 Index = Class->IndexOfName(Var.Name);
		std::optional<FPropertyValue> V = PropertyValueFromJson(*Class->GetProperties()[static_cast<size_t>(Index)], Var.Default, Resolver,
			&CDO.Values[static_cast<size_t>(Index)], &Error);
		if (!V) return Fail(Tarnwick::Printf("Variables[%d] (%s): Default: %s", static_cast<int>(I), Var.Name.c_str(), Error.c_str()), Since);
		CDO.Values[static_cast<size_t>(Index)] = std::move(*V);
	}
	if (!ApplyJsonProperties(Class->DefaultObject, Doc->Defaults, nullptr, &Error)) return Fail("Defaults: " + Error, Since);
	for (auto It = Doc->ComponentDefaults.begin(); It != Doc->ComponentDefaults.end(); ++It)
	{
		FSimComponentTemplate* Template = nullptr;
		for (FSimComponentTemplate& T : Class->Components)
		{
			if (ToLower(T.Name) == ToLower(It.key())) Template = &T;
		}
		if (!Template)
		{
			return Fail(Tarnwick::Printf("ComponentDefaults: %s has no component \"%s\"", Class->GetName().c_str(), It.key().c_str()), Since);
		}
		// Apply through a scratch object of the component class so the same conversion rules hold.
		FSimObject Scratch;
		Scratch.State.Class = Template->Class;
		Scratch.State.Values = Template->Values;
		if (!ApplyJsonProperties(&Scratch, It.value(), nullptr, &Error))
		{
			return Fail(Tarnwick::Printf("ComponentDefaults.%s: %s", It.key().c_str(), Error.c_str()), Since);
		}
		Template->Values = std::move(Scratch.State.Values);
	}
	if (Doc->EventGraph && !Class->IsChildOf(ActorClass)) return Fail("EventGraph: only actor Blueprints run an event graph", Since);
	Class->EventGraph = CombineGraphs(Parent->EventGraph, Doc->EventGraph);
	Class->AttributeSets = MergeAttributeSets(Parent->AttributeSets, Doc->AttributeSets);
	if (!Class->AttributeSets.empty())
	{
		const bool bHasAsc = std::any_of(Class->Components.begin(), Class->Components.end(),
			[](const FSimComponentTemplate& T) { return T.Class->IsA("/Script/GameplayAbilities.AbilitySystemComponent"); });
		if (!bHasAsc)
		{
			return Fail(Tarnwick::Printf("AttributeSets: %s has no AbilitySystemComponent to hold them (add one under \"Components\")",
							Class->GetName().c_str()),
				Since);
		}
	}
	LoadedBlueprints.push_back(BP);
	for (const std::string& E : BP->CompileErrors)
	{
		TW_LOG(LogBlueprint, Error, "[Compiler] %s from Source: %s", E.c_str(), BP->GetPathName().c_str());
	}
	if (BP->Status == EBlueprintStatus::Error && BP->CompileErrors.empty())
	{
		TW_LOG(LogBlueprint, Warning, "%s has unresolved compile errors", BP->GetPathName().c_str());
	}
	return Package;
}

std::string FSimObjectRegistry::MakeUniqueActorName(FSimWorld* World, FSimClass* Class)
{
	const std::string Base = Class->GetName();
	for (;;)
	{
		const std::string Candidate = Base + "_" + std::to_string(World->NameCounters[Base]++);
		bool bTaken = false;
		for (AActor* A : World->Actors) bTaken = bTaken || (!A->IsPendingKill() && A->GetName() == Candidate);
		if (!bTaken) return Candidate;
	}
}

UActorComponent* FSimObjectRegistry::CreateComponent(FSimClass* Class, UObject* Outer, const std::string& Name, AActor* Owner)
{
	// Components the engine implements in C++ keep their state in C++ objects here too.
	if (Class->IsA("/Script/AIModule.PathFollowingComponent"))
	{
		auto* C = Create<FSimPathFollowingComponent>(Class, Outer, Name);
		C->Owner = Owner;
		return C;
	}
	if (Class->IsA("/Script/AIModule.BlackboardComponent"))
	{
		auto* C = Create<FSimBlackboardComponent>(Class, Outer, Name);
		C->Owner = Owner;
		return C;
	}
	if (Class->IsA("/Script/GameplayAbilities.AbilitySystemComponent"))
	{
		auto* C = Create<FSimAbilitySystemComponent>(Class, Outer, Name);
		C->Owner = Owner;
		return C;
	}
	auto* C = Create<FSimComponent>(Class, Outer, Name);
	C->Owner = Owner;
	return C;
}

AActor* FSimObjectRegistry::CreateActor(FSimWorld* World, FSimClass* Class, const std::string& Name)
{
	AActor* Actor = nullptr;
	if (Class->IsA("/Script/Engine.PlayerController")) Actor = Create<FSimPlayerController>(Class, World->Level, Name);
	else if (Class->IsA("/Script/AIModule.AIController")) Actor = Create<FSimAIController>(Class, World->Level, Name);
	else if (Class->IsA("/Script/Engine.Controller")) Actor = Create<FSimController>(Class, World->Level, Name);
	else if (Class->IsA("/Script/Engine.Pawn")) Actor = Create<FSimPawn>(Class, World->Level, Name);
	else Actor = Create<FSimActor>(Class, World->Level, Name);
	FSimActorState& State = *GetActorState(Actor);
	State.World = World;
	State.Self = Actor;
	State.Values = &AsSim(Actor)->GetSimState();
	State.bIsPawn = Cast<APawn>(Actor) != nullptr;
	State.bIsPlayerController = dynamic_cast<FSimPlayerController*>(Actor) != nullptr;
	State.bIsAIController = dynamic_cast<FSimAIController*>(Actor) != nullptr;
	State.Label = Class->DisplayName;
	FSimObjectState& ActorValues = AsSim(Actor)->GetSimState();
	for (const FSimComponentTemplate& T : Class->Components)
	{
		UActorComponent* C = CreateComponent(T.Class, Actor, T.Name, Actor);
		FSimObjectState& CState = AsSim(C)->GetSimState();
		CState.Values = T.Values;
		State.Components.push_back(C);
		State.ComponentStates.push_back(&CState);
		if (!State.Capsule && T.Class->IsChildOf(CapsuleComponentClass)) State.Capsule = &CState;
		if (T.Class->IsChildOf(StaticMeshComponentClass)) State.bHasStaticMeshComponent = true;
		if (!State.Root && T.Class->IsA("/Script/Engine.SceneComponent")) State.Root = C;
		if (!State.Movement && T.Class->IsChildOf(CharacterMovementClass))
		{
			State.Movement = C;
			State.MovementValues = &CState;
			State.VelocityIndex = T.Class->IndexOfName("Velocity");
		}
		if (!T.BoundProperty.empty())
		{
			const int32 Index = Class->IndexOfName(T.BoundProperty);
			if (Index >= 0) ActorValues.Values[static_cast<size_t>(Index)].ObjectValue = FWeakObjectPtr(C);
		}
	}
	if (State.Root)
	{
		const int32 RootIndex = Class->IndexOfName("RootComponent");
		if (RootIndex >= 0) ActorValues.Values[static_cast<size_t>(RootIndex)].ObjectValue = FWeakObjectPtr(State.Root);
	}
	State.EventGraph = Class->EventGraph;
	State.AbilitySystem = FindAbilitySystem(State);
	if (!Class->AttributeSets.empty() && State.AbilitySystem) State.AbilitySystem->InitAttributes(Class->AttributeSets);
	World->Actors.push_back(Actor);
	World->ActorStates.push_back(&State);
	return Actor;
}

void FSimObjectRegistry::CreateAnimInstances(AActor* Actor)
{
	for (UActorComponent* C : GetActorState(Actor)->Components)
	{
		FSimObjectState& CState = AsSim(C)->GetSimState();
		if (!CState.Class->IsChildOf(SkeletalMeshComponentClass)) continue;
		const int32 AnimClassIndex = CState.Class->IndexOfName("AnimClass");
		const int32 InstanceIndex = CState.Class->IndexOfName("AnimScriptInstance");
		auto* AnimClass = dynamic_cast<FSimClass*>(CState.Values[static_cast<size_t>(AnimClassIndex)].ObjectValue.Get());
		if (!AnimClass) continue;
		UObject* Instance = NewObject(AnimClass, C, AnimClass->GetName() + "_0");
		CState.Values[static_cast<size_t>(InstanceIndex)] = FPropertyValue::MakeObject(Instance);
	}
}

AActor* FSimObjectRegistry::SpawnActor(FSimWorld* World, FSimClass* Class, const FActorSpawnParameters& Params, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> AActor* {
		if (OutError) *OutError = std::move(Why);
		return nullptr;
	};
	if (!World || World->IsPendingKill() || World->bTearingDown) return Fail("SpawnActor: the world is being torn down");
	if (!Class->IsChildOf(ActorClass)) return Fail(Tarnwick::Printf("SpawnActor: %s is not an actor class", Class->GetPathName().c_str()));
	if (Class->bAbstract) return Fail(Tarnwick::Printf("SpawnActor: %s is abstract", Class->GetPathName().c_str()));
	std::string Name = Params.Name;
	if (Name.empty())
	{
		Name = MakeUniqueActorName(World, Class);
	}
	else
	{
		for (AActor* A : World->Actors)
		{
			if (!A->IsPendingKill() && ToLower(A->GetName()) == ToLower(Name))
			{
				return Fail(Tarnwick::Printf("SpawnActor: an actor named '%s' already exists in %s", Name.c_str(), World->GetPathName().c_str()));
			}
		}
	}
	AActor* Actor = CreateActor(World, Class, Name);
	FSimActorState& State = *GetActorState(Actor);
	if (!Params.Label.empty()) State.Label = Params.Label;
	State.FolderPath = Params.FolderPath;
	State.Location = Params.Location;
	State.Rotation = Params.Rotation;
	State.Scale = Params.Scale;
	CreateAnimInstances(Actor);
	if (World->bBegunPlay) State.bBegunPlay = true;
	if (World->Gameplay) World->Gameplay->OnActorSpawned(Actor);
	return Actor;
}

bool FSimObjectRegistry::DestroyActor(FSimWorld* World, AActor* Actor)
{
	if (!World || !IsValid(Actor)) return false;
	FSimActorState* State = GetActorState(Actor);
	if (!State || State->World != World) return false;
	if (Actor == World->WorldSettings) return false;
	const uint64 Serial = AsSim(Actor)->GetSimState().Serial;
	// Components and anything else the actor holds were created after it and live inside it.
	std::vector<UObject*> Inner;
	for (const auto& [S, Object] : Objects)
	{
		if (S <= Serial) continue;
		for (UObject* O = Object->GetOuter(); O; O = O->GetOuter())
		{
			if (O == Actor)
			{
				Inner.push_back(Object.get());
				break;
			}
		}
	}
	for (UObject* O : Inner) DestroyObject(O);
	if (Actor == World->GameMode) World->GameMode = nullptr;
	DestroyObject(Actor);
	std::erase(World->Actors, Actor);
	std::erase(World->ActorStates, State);
	return true;
}

void FSimObjectRegistry::DestroyObject(UObject* Object)
{
	if (!Object || Object->IsPendingKill()) return;
	const uint64 Serial = AsSim(Object)->GetSimState().Serial;
	std::erase_if(PathIndex, [&](const auto& KV) { return KV.second == Object; });
	std::erase(LoadedBlueprints, dynamic_cast<FSimBlueprint*>(Object));
	AsSim(Object)->MarkPendingKill();
	const auto It = Objects.find(Serial);
	if (It != Objects.end())
	{
		Garbage.push_back(std::move(It->second));
		Objects.erase(It);
	}
}

void FSimObjectRegistry::CollectGarbage()
{
	// Free newest first: an object's contents were created after it.
	while (!Garbage.empty())
	{
		Garbage.pop_back();
	}
}

FSimWorld* FSimObjectRegistry::CreateWorld(const std::string& LongPackageName, EWorldType::Type WorldType, const std::string& WorldName)
{
	UObject* Package = Create<FSimObject>(PackageClass, nullptr, LongPackageName);
	Register(Package, true);
	const std::string MapName = WorldName.empty() ? FPackageName::GetShortName(LongPackageName) : WorldName;
	FSimWorld* World = Create<FSimWorld>(WorldClass, Package, MapName);
	World->Registry = this;
	World->WorldType = WorldType;
	World->MapName = MapName;
	World->Package = Package;
	Register(World, true);
	World->Level = Create<FSimObject>(LevelClass, World, "PersistentLevel");
	World->WorldSettings = CreateActor(World, WorldSettingsClass, "WorldSettings");
	World->TimeDilationIndex = WorldSettingsClass->IndexOfName("TimeDilation");
	return World;
}

FSimWorld* FSimObjectRegistry::LoadMapWorld(const std::string& LongPackageName, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> FSimWorld* {
		if (OutError) *OutError = std::move(Why);
		return nullptr;
	};
	std::string Reason;
	if (!FPackageName::IsValidLongPackageName(LongPackageName, &Reason))
	{
		return Fail(Tarnwick::Printf("'%s' is not a valid package name: %s", LongPackageName.c_str(), Reason.c_str()));
	}
	const std::optional<std::string> Base = FPackageMount::GameRelativeBase(LongPackageName);
	if (!Base) return Fail(Tarnwick::Printf("no map '%s' (maps live under /Game/)", LongPackageName.c_str()));
	const std::string Label = *Base + ".umap";
	std::string Text;
	if (!ReadTextFile(ProjectDir + Label, Text)) return Fail(Tarnwick::Printf("no such map '%s' (expected %s)", LongPackageName.c_str(), Label.c_str()));
	std::string Error;
	std::optional<FMapDocument> Doc = ParseMapDocument(Text, Label, &Error);
	if (!Doc) return Fail(Error);

	if (FindObject(LongPackageName)) return Fail(Tarnwick::Printf("%s: the map is already open", Label.c_str()));
	const uint64 Since = NextSerial;
	FSimWorld* World = CreateWorld(LongPackageName, EWorldType::Editor);
	World->bHasWorldPartition = Doc->WorldPartitionStreamingFrames > 0;
	auto FailRollback = [&](const std::string& Why) {
		RollbackTo(Since);
		return Fail(Label + ": " + Why);
	};
	if (!ApplyJsonProperties(World->WorldSettings, Doc->WorldSettings, World, &Error)) return FailRollback("WorldSettings: " + Error);
	for (size_t I = 0; I < Doc->Actors.size(); ++I)
	{
		const FActorDocument& A = Doc->Actors[I];
		const std::string Where = Tarnwick::Printf("Actors[%d] (%s): ", static_cast<int>(I), A.Name.c_str());
		std::string Why;
		FSimClass* Class = dynamic_cast<FSimClass*>(LoadClass(A.ClassPath, &Why));
		if (!Class) return FailRollback(Where + Tarnwick::Printf("class '%s': %s", A.ClassPath.c_str(), Why.c_str()));
		if (Class->IsChildOf(WorldSettingsClass)) return FailRollback(Where + "the WorldSettings actor is written under \"WorldSettings\"");
		FActorSpawnParameters Params;
		Params.Name = A.Name;
		Params.Label = A.Label;
		Params.FolderPath = A.FolderPath;
		Params.Location = A.Location;
		Params.Rotation = A.Rotation;
		Params.Scale = A.Scale;
		if (!SpawnActor(World, Class, Params, &Why)) return FailRollback(Where + Why);
	}
	// Properties second, so that actors may refer to actors declared after them.
	for (size_t I = 0; I < Doc->Actors.size(); ++I)
	{
		const FActorDocument& A = Doc->Actors[I];
		const std::string Where = Tarnwick::Printf("Actors[%d] (%s): ", static_cast<int>(I), A.Name.c_str());
		AActor* Actor = World->Actors[I + 1];
		if (!ApplyJsonProperties(Actor, A.Properties, World, &Error)) return FailRollback(Where + Error);
		FSimActorState& State = *GetActorState(Actor);
		for (auto It = A.Components.begin(); It != A.Components.end(); ++It)
		{
			UActorComponent* Component = nullptr;
			for (UActorComponent* C : State.Components)
			{
				if (ToLower(C->GetName()) == ToLower(It.key())) Component = C;
			}
			if (!Component)
			{
				return FailRollback(Where + Tarnwick::Printf("%s has no component \"%s\"", A.ClassPath.c_str(), It.key().c_str()));
			}
			if (!ApplyJsonProperties(Component, It.value(), World, &Error)) return FailRollback(Where + "Components." + It.key() + ": " + Error);
		}
		// The map may have set an AnimClass; instances follow the final value.
		for (UActorComponent* C : State.Components)
		{
			FSimObjectState& CState = AsSim(C)->GetSimState();
			const int32 InstanceIndex = CState.Class->IndexOfName("AnimScriptInstance");
			if (InstanceIndex >= 0) DestroyObject(CState.Values[static_cast<size_t>(InstanceIndex)].ObjectValue.Get());
		}
		CreateAnimInstances(Actor);
		State.EventGraph = CombineGraphs(State.EventGraph, A.EventGraph);
		if (!A.AttributeSets.empty())
		{
			FSimAbilitySystemComponent* Asc = FindAbilitySystem(State);
			if (!Asc) return FailRollback(Where + Tarnwick::Printf("AttributeSets: %s has no AbilitySystemComponent to hold them", A.ClassPath.c_str()));
			Asc->InitAttributes(MergeAttributeSets(AsSim(Actor)->GetSimState().Class->AttributeSets, A.AttributeSets));
		}
	}
	// A map saved with built navigation opens with its navmesh.
	if (Doc->bNavigationBuilt) World->NavigationSystem->Build();
	LastMap = std::move(*Doc);
	return World;
}

FSimWorld* FSimObjectRegistry::DuplicateWorldForPIE(FSimWorld* Source, int32 PIEInstance)
{
	const std::string SourcePackage = Source->GetPackageName();
	const size_t Slash = SourcePackage.rfind('/');
	const std::string PackageName =
		SourcePackage.substr(0, Slash + 1) + Tarnwick::Printf("UEDPIE_%d_", PIEInstance) + SourcePackage.substr(Slash + 1);
	FSimWorld* World = CreateWorld(PackageName, EWorldType::PIE, Source->GetName());
	World->MapName = Source->MapName;
	World->bHasWorldPartition = Source->bHasWorldPartition;
	World->NameCounters = Source->NameCounters;
	std::unordered_map<const UObject*, UObject*> Map;
	Map[Source] = World;
	Map[Source->Level] = World->Level;
	Map[Source->WorldSettings] = World->WorldSettings;
	AsSim(World->WorldSettings)->GetSimState().Values = AsSim(Source->WorldSettings)->GetSimState().Values;
	std::vector<std::pair<AActor*, AActor*>> Pairs;
	for (AActor* SourceActor : Source->GetActors())
	{
		if (SourceActor == Source->WorldSettings) continue;
		FSimClass* Class = AsSim(SourceActor)->GetSimState().Class;
		AActor* Copy = CreateActor(World, Class, SourceActor->GetName());
		const FSimActorState& From = *GetActorState(SourceActor);
		FSimActorState& To = *GetActorState(Copy);
		To.Label = From.Label;
		To.FolderPath = From.FolderPath;
		To.Location = From.Location;
		To.Rotation = From.Rotation;
		To.Scale = From.Scale;
		AsSim(Copy)->GetSimState().Values = AsSim(SourceActor)->GetSimState().Values;
		Map[SourceActor] = Copy;
		To.EventGraph = From.EventGraph;
		for (size_t I = 0; I < From.Components.size() && I < To.Components.size(); ++I)
		{
			AsSim(To.Components[I])->GetSimState().Values = AsSim(From.Components[I])->GetSimState().Values;
			AsSim(To.Components[I])->CopyGameplayStateFrom(*AsSim(From.Components[I]));
			Map[From.Components[I]] = To.Components[I];
		}
		Pairs.emplace_back(SourceActor, Copy);
	}
	for (auto& [SourceActor, Copy] : Pairs)
	{
		for (FPropertyValue& V : AsSim(Copy)->GetSimState().Values) RemapValue(V, Map);
		for (UActorComponent* C : GetActorState(Copy)->Components)
		{
			FSimObjectState& CState = AsSim(C)->GetSimState();
			for (FPropertyValue& V : CState.Values) RemapValue(V, Map);
			const int32 InstanceIndex = CState.Class->IndexOfName("AnimScriptInstance");
			if (InstanceIndex >= 0) CState.Values[static_cast<size_t>(InstanceIndex)] = FPropertyValue::MakeObject(nullptr);
		}
		CreateAnimInstances(Copy);
	}
	for (FPropertyValue& V : AsSim(World->WorldSettings)->GetSimState().Values) RemapValue(V, Map);
	World->NavigationSystem->CopyFrom(*Source->NavigationSystem);
	return World;
}

void FSimObjectRegistry::DestroyWorld(FSimWorld* World)
{
	if (!World || World->IsPendingKill()) return;
	World->bTearingDown = true;
	const std::vector<AActor*> Actors = World->Actors;
	for (auto It = Actors.rbegin(); It != Actors.rend(); ++It)
	{
		if (*It == World->WorldSettings) continue;
		DestroyActor(World, *It);
	}
	// What is left inside the package (WorldSettings, level, world, package) goes in one sweep.
	UObject* Package = World->Package;
	std::vector<UObject*> Inner;
	for (const auto& [S, Object] : Objects)
	{
		if (Object.get() != Package && Object->GetOutermost() == Package) Inner.push_back(Object.get());
	}
	for (auto It = Inner.rbegin(); It != Inner.rend(); ++It) DestroyObject(*It);
	World->Actors.clear();
	World->ActorStates.clear();
	DestroyObject(Package);
}
}
