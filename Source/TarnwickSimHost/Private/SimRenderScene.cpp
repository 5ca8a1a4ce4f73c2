#include "SimRenderScene.h"

#include "Logging.h"
#include "SimObjects.h"
#include "SimViewport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <unordered_map>

namespace Tarnwick::Sim
{
using namespace RenderMath;

namespace
{
FLogCategory LogRenderer("LogRenderer");

/** The properties the renderer reads, looked up once per class instead of by name every frame. */
enum class EProp : uint8
{
	bHidden,
	bVisible,
	bHiddenInGame,
	RelativeLocation,
	RelativeRotation,
	RelativeScale3D,
	StaticMesh,
	SkeletalMeshAsset,
	CapsuleRadius,
	CapsuleHalfHeight,
	bEnabled,
	bAffectsWorld,
	Intensity,
	LightColor,
	AttenuationRadius,
	OuterConeAngle,
	InnerConeAngle,
	FieldOfView,
	ProjectionMode,
	OrthoWidth,
	BaseEyeHeight,
	Count
};

constexpr const char* PropNames[] = {"bHidden", "bVisible", "bHiddenInGame", "RelativeLocation", "RelativeRotation", "RelativeScale3D",
	"StaticMesh", "SkeletalMeshAsset", "CapsuleRadius", "CapsuleHalfHeight", "bEnabled", "bAffectsWorld", "Intensity", "LightColor",
	"AttenuationRadius", "OuterConeAngle", "InnerConeAngle", "FieldOfView", "ProjectionMode", "OrthoWidth", "BaseEyeHeight"};
static_assert(std::size(PropNames) == static_cast<size_t>(EProp::Count));

}

/** Property indices per class, keyed by the class's serial (never reused in a registry, unlike its address). */
class FPropertyIndexCache
{
public:
	using FRow = std::array<int32, static_cast<size_t>(EProp::Count)>;

	const FPropertyValue* Find(const UObject* Object, EProp Prop)
	{
		if (!Object) return nullptr;
		if (Object != LastObject)
		{
			// Reads come in runs on one object; finding its state costs a cross-cast and a hash lookup.
			LastObject = Object;
			LastState = GetSimState(Object);
			LastRow = LastState && LastState->Class ? &RowOf(*LastState->Class) : nullptr;
		}
		if (!LastRow) return nullptr;
		const int32 Index = (*LastRow)[static_cast<size_t>(Prop)];
		return Index >= 0 && static_cast<size_t>(Index) < LastState->Values.size() ? &LastState->Values[static_cast<size_t>(Index)] : nullptr;
	}

	/** Objects may be freed between draws (and their addresses reused): forget the last one. */
	void Forget()
	{
		LastObject = nullptr;
		LastState = nullptr;
		LastRow = nullptr;
	}

private:
	const FRow& RowOf(const FSimClass& Class)
	{
		auto It = Indices.find(Class.State.Serial);
		if (It == Indices.end())
		{
			FRow Row{};
			for (size_t I = 0; I < Row.size(); ++I) Row[I] = Class.IndexOfName(PropNames[I]);
			It = Indices.emplace(Class.State.Serial, Row).first;
		}
		return It->second;
	}

	std::unordered_map<uint64, FRow> Indices;
	const UObject* LastObject = nullptr;
	const FSimObjectState* LastState = nullptr;
	const FRow* LastRow = nullptr;
};

namespace
{

double ReadNumber(FPropertyIndexCache& Props, const UObject* Object, EProp Prop, double Default)
{
	const FPropertyValue* V = Props.Find(Object, Prop);
	if (!V) return Default;
	switch (V->Type)
	{
	case EPropertyType::Float:
	case EPropertyType::Double: return V->DoubleValue;
	case EPropertyType::Int32:
	case EPropertyType::Int64: return static_cast<double>(V->IntValue);
	default: return Default;
	}
}

bool ReadBool(FPropertyIndexCache& Props, const UObject* Object, EProp Prop, bool bDefault)
{
	const FPropertyValue* V = Props.Find(Object, Prop);
	return V && V->Type == EPropertyType::Bool ? V->bValue : bDefault;
}

FVector ReadVector(FPropertyIndexCache& Props, const UObject* Object, EProp Prop, const FVector& Default)
{
	const FPropertyValue* V = Props.Find(Object, Prop);
	return V && V->Type == EPropertyType::Vector ? V->VectorValue : Default;
}

FRotator ReadRotator(FPropertyIndexCache& Props, const UObject* Object, EProp Prop)
{
	const FPropertyValue* V = Props.Find(Object, Prop);
	return V && V->Type == EPropertyType::Rotator ? V->RotatorValue : FRotator();
}

UObject* ReadObject(FPropertyIndexCache& Props, const UObject* Object, EProp Prop)
{
	const FPropertyValue* V = Props.Find(Object, Prop);
	return V && V->Type == EPropertyType::Object ? V->ObjectValue.Get() : nullptr;
}

/** A light's FColor property as linear 0..1 channels (the renderer does no gamma). */
FVector ReadLightColor(FPropertyIndexCache& Props, const UObject* Object)
{
	const FPropertyValue* V = Props.Find(Object, EProp::LightColor);
	if (!V || V->Type != EPropertyType::Struct) return FVector(1.0, 1.0, 1.0);
	auto Channel = [&](const char* Field) {
		const FPropertyValue* F = V->FindField(Field);
		return F ? std::clamp(static_cast<double>(F->IntValue), 0.0, 255.0) / 255.0 : 1.0;
	};
	return FVector(Channel("R"), Channel("G"), Channel("B"));
}

/** A component's transform relative to its actor (components hang off the root; the root is the actor). */
FAffine ComponentToWorld(FPropertyIndexCache& Props, const FAffine& ActorToWorld, const UObject* Component, bool bRoot)
{
	if (bRoot) return ActorToWorld;
	return ActorToWorld.Compose(FAffine::FromTransform(ReadVector(Props, Component, EProp::RelativeLocation, FVector()),
		ReadRotator(Props, Component, EProp::RelativeRotation), ReadVector(Props, Component, EProp::RelativeScale3D, FVector(1.0, 1.0, 1.0))));
}

FAffine ActorToWorld(const AActor* Actor)
{
	return FAffine::FromTransform(Actor->GetActorLocation(), Actor->GetActorRotation(), Actor->GetActorScale3D());
}

FColor MeshColor(const UObject* Mesh)
{
	const FSimObjectState* State = Mesh ? GetSimState(Mesh) : nullptr;
	return State && State->Mesh && State->Mesh->Color ? *State->Mesh->Color : DefaultMeshColor;
}

struct FBasicShape
{
	const char* Path;
	const FSimMesh& (*Mesh)();
	FVector HalfSize;
	FColor Color;
};

const FBasicShape BasicShapes[] = {
	{"/Engine/BasicShapes/Plane.Plane", &SimShapes::UnitPlane, FVector(50.0, 50.0, 1.0), FColor(150, 150, 150)},
	{"/Engine/BasicShapes/Cube.Cube", &SimShapes::UnitBox, FVector(50.0, 50.0, 50.0), FColor(200, 120, 60)},
	{"/Engine/BasicShapes/Sphere.Sphere", &SimShapes::UnitSphere, FVector(50.0, 50.0, 50.0), FColor(220, 60, 60)},
	{"/Engine/BasicShapes/Cylinder.Cylinder", &SimShapes::UnitCylinder, FVector(50.0, 50.0, 50.0), FColor(110, 110, 210)},
	{"/Engine/BasicShapes/Cone.Cone", &SimShapes::UnitCone, FVector(50.0, 50.0, 50.0), FColor(220, 200, 60)},
};

bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		auto Lower = [](char C) { return C >= 'A' && C <= 'Z' ? static_cast<char>(C - 'A' + 'a') : C; };
		if (Lower(A[I]) != Lower(B[I])) return false;
	}
	return true;
}
}

bool FindBasicShape(const std::string& MeshPath, const FSimMesh*& OutMesh, FVector& OutHalfSize, FColor& OutColor)
{
	for (const FBasicShape& S : BasicShapes)
	{
		if (!EqualsIgnoreCase(MeshPath, S.Path)) continue;
		OutMesh = &S.Mesh();
		OutHalfSize = S.HalfSize;
		OutColor = S.Color;
		return true;
	}
	return false;
}

FSimRenderCamera FSimSceneRenderer::CameraForViewTarget(AActor* ViewTarget)
{
	FPropertyIndexCache& Props = *PropertyCache;
	Props.Forget();
	if (!ViewTarget) return FSimRenderCamera::Perspective(FVector(), FRotator(), 90.0);
	const FAffine ToWorld = ActorToWorld(ViewTarget);
	const UActorComponent* Root = ViewTarget->GetRootComponent();
	for (UActorComponent* C : ViewTarget->GetComponents())
	{
		const FSimObjectState* State = GetSimState(C);
		if (!State || !State->Class->IsA("/Script/Engine.CameraComponent")) continue;
		const FAffine CameraToWorld = ComponentToWorld(Props, ToWorld, C, C == Root);
		FSimRenderCamera Camera;
		Camera.Location = CameraToWorld.Origin;
		Camera.Axes.X = Normalize(CameraToWorld.X);
		Camera.Axes.Y = Normalize(CameraToWorld.Y);
		Camera.Axes.Z = Normalize(CameraToWorld.Z);
		Camera.FOVDegrees = ReadNumber(Props, C, EProp::FieldOfView, 90.0);
		const FPropertyValue* Projection = Props.Find(C, EProp::ProjectionMode);
		if (Projection && Projection->StringValue == "Orthographic")
		{
			Camera.bOrthographic = true;
			Camera.OrthoWidth = ReadNumber(Props, C, EProp::OrthoWidth, 512.0);
		}
		return Camera;
	}
	FVector Eyes = ViewTarget->GetActorLocation();
	FRotator Rotation = ViewTarget->GetActorRotation();
	if (const auto* Pawn = Cast<APawn>(ViewTarget))
	{
		Eyes.Z += ReadNumber(Props, Pawn, EProp::BaseEyeHeight, 64.0);
		if (const AController* Controller = Pawn->GetController()) Rotation = Controller->GetControlRotation();
	}
	else if (const auto* Controller = Cast<AController>(ViewTarget))
	{
		Rotation = Controller->GetControlRotation();
	}
	return FSimRenderCamera::Perspective(Eyes, Rotation, 90.0);
}

FSimSceneRenderer::~FSimSceneRenderer() = default;

FSimSceneRenderer::FSimSceneRenderer(FSimObjectRegistry& Registry) : PropertyCache(std::make_unique<FPropertyIndexCache>())
{
	CharacterClass = Registry.FindClass("/Script/Engine.Character");
	StaticMeshComponentClass = Registry.FindClass("/Script/Engine.StaticMeshComponent");
	SkeletalMeshComponentClass = Registry.FindClass("/Script/Engine.SkeletalMeshComponent");
	CapsuleComponentClass = Registry.FindClass("/Script/Engine.CapsuleComponent");
	LightComponentClass = Registry.FindClass("/Script/Engine.LightComponent");
	DirectionalLightComponentClass = Registry.FindClass("/Script/Engine.DirectionalLightComponent");
	SpotLightComponentClass = Registry.FindClass("/Script/Engine.SpotLightComponent");
}

std::shared_ptr<const FSimMesh> FSimSceneRenderer::Capsule(double Radius, double HalfHeight)
{
	// Capsules that change size every frame must not pile up; frames being drawn keep their own meshes alive.
	if (Capsules.size() >= 64 && !Capsules.count({Radius, HalfHeight})) Capsules.clear();
	std::shared_ptr<const FSimMesh>& Mesh = Capsules[{Radius, HalfHeight}];
	if (!Mesh) Mesh = SimShapes::MakeCapsule(Radius, HalfHeight);
	return Mesh;
}

const FSimSceneRenderer::FStaticMeshLook& FSimSceneRenderer::LookOf(const UObject* Mesh)
{
	// Meshes are assets: their look is worked out once (their path names are costly to build every frame).
	const FSimObjectState* State = GetSimState(Mesh);
	auto [It, bNew] = MeshLooks.try_emplace(State ? State->Serial : 0);
	FStaticMeshLook& Look = It->second;
	if (bNew && !FindBasicShape(Mesh->GetPathName(), Look.Mesh, Look.HalfSize, Look.Color))
	{
		Look.Mesh = &SimShapes::UnitBox();
		Look.HalfSize = State && State->Mesh ? State->Mesh->BoundsExtent : FVector(50.0, 50.0, 50.0);
		Look.Color = MeshColor(Mesh);
	}
	return Look;
}

FSimShowFlags FSimShowFlags::FromOverrides(const std::map<std::string, bool>& Overrides)
{
	FSimShowFlags Flags;
	auto Apply = [&](const char* Key, bool& Flag) {
		if (auto It = Overrides.find(Key); It != Overrides.end()) Flag = It->second;
	};
	Apply("staticmeshes", Flags.bStaticMeshes);
	Apply("skeletalmeshes", Flags.bSkeletalMeshes);
	Apply("lighting", Flags.bLighting);
	Apply("directionallights", Flags.bDirectionalLights);
	Apply("pointlights", Flags.bPointLights);
	Apply("spotlights", Flags.bSpotLights);
	return Flags;
}

void FSimSceneRenderer::AddLight(AActor* Actor, UObject* Component, const FAffine& ToWorld, const FSimShowFlags& Flags, FSimRenderFrame& Out) const
{
	FPropertyIndexCache& Props = *PropertyCache;
	if (!ReadBool(Props, Actor, EProp::bEnabled, true) || !ReadBool(Props, Component, EProp::bAffectsWorld, true)) return;
	FSimRenderLight Light;
	const double Intensity = std::max(0.0, ReadNumber(Props, Component, EProp::Intensity, 0.0));
	Light.Direction = Normalize(ToWorld.X);
	Light.Position = ToWorld.Origin;
	const bool bDirectional = Component->IsA(DirectionalLightComponentClass);
	const bool bSpot = Component->IsA(SpotLightComponentClass);
	if (bDirectional ? !Flags.bDirectionalLights : bSpot ? !Flags.bSpotLights : !Flags.bPointLights) return;
	if (bDirectional)
	{
		// An outdoor sun of 10 lux lights a surface facing it fully.
		Light.Type = FSimRenderLight::EType::Directional;
		Light.Color = Scale(ReadLightColor(Props, Component), Intensity / 10.0);
	}
	else
	{
		Light.Type = bSpot ? FSimRenderLight::EType::Spot : FSimRenderLight::EType::Point;
		Light.Color = Scale(ReadLightColor(Props, Component), Intensity / 5000.0);
		Light.Radius = std::max(1.0, ReadNumber(Props, Component, EProp::AttenuationRadius, 1000.0));
		if (Light.Type == FSimRenderLight::EType::Spot)
		{
			const double Outer = std::clamp(ReadNumber(Props, Component, EProp::OuterConeAngle, 44.0), 1.0, 89.0);
			const double Inner = std::clamp(ReadNumber(Props, Component, EProp::InnerConeAngle, 0.0), 0.0, Outer);
			Light.CosOuter = std::cos(DegreesToRadians(Outer));
			Light.CosInner = std::cos(DegreesToRadians(Inner));
		}
	}
	Out.Lights.push_back(Light);
}

void FSimSceneRenderer::GatherScene(UWorld* World, bool bGameView, const FSimShowFlags& Flags, FSimRenderFrame& Out)
{
	FPropertyIndexCache& Props = *PropertyCache;
	Props.Forget();
	if (!World) return;
	for (AActor* Actor : World->GetActors())
	{
		if (bGameView && ReadBool(Props, Actor, EProp::bHidden, false)) continue;
		const FAffine ToWorld = ActorToWorld(Actor);
		const UActorComponent* Root = Actor->GetRootComponent();
		const bool bCharacter = Actor->IsA(CharacterClass);
		for (UActorComponent* C : Actor->GetComponents())
		{
			const bool bVisible = ReadBool(Props, C, EProp::bVisible, true) && !(bGameView && ReadBool(Props, C, EProp::bHiddenInGame, false));
			if (C->IsA(LightComponentClass))
			{
				if (ReadBool(Props, C, EProp::bVisible, true)) AddLight(Actor, C, ComponentToWorld(Props, ToWorld, C, C == Root), Flags, Out);
				continue;
			}
			if (!bVisible) continue;
			if (C->IsA(StaticMeshComponentClass))
			{
				if (!Flags.bStaticMeshes) continue;
				const UObject* Mesh = ReadObject(Props, C, EProp::StaticMesh);
				if (!Mesh) continue;
				const FStaticMeshLook& Look = LookOf(Mesh);
				FSimRenderPrimitive Prim;
				Prim.Mesh = Look.Mesh;
				Prim.Color = Look.Color;
				Prim.ToWorld = ComponentToWorld(Props, ToWorld, C, C == Root).ScaledLocal(Look.HalfSize);
				Out.Primitives.push_back(std::move(Prim));
			}
			else if (C->IsA(SkeletalMeshComponentClass))
			{
				if (!Flags.bSkeletalMeshes) continue;
				// A Character's body is drawn as its capsule, in its mesh's colour; other skeletal meshes as their bounds.
				const UObject* Mesh = ReadObject(Props, C, EProp::SkeletalMeshAsset);
				if (bCharacter)
				{
					const UActorComponent* Capsule = Root && Root->IsA(CapsuleComponentClass) ? Root : nullptr;
					if (!Capsule) continue;
					const double Radius = std::max(0.0, ReadNumber(Props, Capsule, EProp::CapsuleRadius, 34.0));
					const double HalfHeight = std::max(Radius, ReadNumber(Props, Capsule, EProp::CapsuleHalfHeight, 88.0));
					FSimRenderPrimitive Prim;
					Prim.OwnedMesh = this->Capsule(Radius, HalfHeight);
					Prim.Mesh = Prim.OwnedMesh.get();
					Prim.ToWorld = ToWorld;
					Prim.Color = MeshColor(Mesh);
					Out.Primitives.push_back(std::move(Prim));
					continue;
				}
				if (!Mesh) continue;
				const FSimObjectState* State = GetSimState(Mesh);
				FSimRenderPrimitive Prim;
				Prim.Mesh = &SimShapes::UnitBox();
				Prim.ToWorld = ComponentToWorld(Props, ToWorld, C, C == Root)
								   .ScaledLocal(State && State->Mesh ? State->Mesh->BoundsExtent : FVector(50.0, 50.0, 50.0));
				Prim.Color = MeshColor(Mesh);
				Out.Primitives.push_back(std::move(Prim));
			}
		}
	}
}

ESimViewMode FSimSceneRenderer::ModeFor(int32 ViewModeIndex, const FSimShowFlags& Flags)
{
	bool bExact = true;
	const ESimViewMode Mode = ViewModeForIndex(ViewModeIndex, &bExact);
	if (!bExact && WarnedViewModes.insert(ViewModeIndex).second)
	{
		TW_LOG(LogRenderer, Warning, "View mode %s (%d) is not drawn by this renderer; drawing it Lit", ViewModeDisplayName(ViewModeIndex),
			ViewModeIndex);
	}
	// Lighting switched off shows surfaces as they are, as the engine's unlit view does.
	if (!Flags.bLighting && (Mode == ESimViewMode::Lit || Mode == ESimViewMode::LightingOnly)) return ESimViewMode::Unlit;
	return Mode;
}

void FSimSceneRenderer::DrawLevelViewport(
	const FEditorViewportClient& Client, FIntPoint Size, const FSimShowFlags& Flags, UWorld* World, FSimRenderFrame& Out)
{
	Out.Reset();
	Out.Size = Size;
	Out.bHasView = true;
	Out.ViewMode = ModeFor(Client.GetViewModeIndex(), Flags);
	// Orthographic views show this many world units across, whatever their size (the engine's default zoom).
	constexpr double OrthoWidth = 2048.0;
	Out.Camera = Client.IsPerspective()
		? FSimRenderCamera::Perspective(Client.GetViewLocation(), Client.GetViewRotation(), Client.GetViewFOV())
		: FSimRenderCamera::Orthographic(Client.GetViewLocation(), Client.GetViewRotation(), OrthoWidth);
	GatherScene(World, Client.IsInGameView(), Flags, Out);
}

void FSimSceneRenderer::DrawGameViewport(UWorld* World, FIntPoint Size, int32 ViewModeIndex, const FSimShowFlags& Flags, FSimRenderFrame& Out)
{
	Out.Reset();
	Out.Size = Size;
	APlayerController* Player = World ? World->GetFirstPlayerController() : nullptr;
	if (!Player) return;
	Out.bHasView = true;
	Out.ViewMode = ModeFor(ViewModeIndex, Flags);
	Out.Camera = CameraForViewTarget(Player->GetViewTarget());
	GatherScene(World, true, Flags, Out);
}
}
