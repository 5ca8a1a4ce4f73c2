#include "SimCollision.h"

#include "SimObjects.h"

#include <cmath>
#include <numbers>

namespace Tarnwick::Sim
{
FSimBox FSimBox::ExpandedXY(double Amount) const
{
	return FSimBox{FVector(Min.X - Amount, Min.Y - Amount, Min.Z), FVector(Max.X + Amount, Max.Y + Amount, Max.Z)};
}

bool FSimBox::Intersects(const FSimBox& Other) const
{
	return Min.X <= Other.Max.X && Max.X >= Other.Min.X && Min.Y <= Other.Max.Y && Max.Y >= Other.Min.Y && Min.Z <= Other.Max.Z &&
		Max.Z >= Other.Min.Z;
}

FSimBox MakeYawedBox(const FVector& Center, const FVector& Extent, double YawDegrees)
{
	const double Rad = YawDegrees * std::numbers::pi / 180.0;
	const double C = std::fabs(std::cos(Rad));
	const double S = std::fabs(std::sin(Rad));
	// Snap the tiny residues of 90-degree turns so that square rooms stay square.
	const double Cx = C < 1e-12 ? 0.0 : C;
	const double Sx = S < 1e-12 ? 0.0 : S;
	const double Ex = Cx * std::fabs(Extent.X) + Sx * std::fabs(Extent.Y);
	const double Ey = Sx * std::fabs(Extent.X) + Cx * std::fabs(Extent.Y);
	const double Ez = std::fabs(Extent.Z);
	return FSimBox{FVector(Center.X - Ex, Center.Y - Ey, Center.Z - Ez), FVector(Center.X + Ex, Center.Y + Ey, Center.Z + Ez)};
}

bool GetMeshBoundsExtent(const UObject* Mesh, FVector& OutExtent)
{
	const FSimObjectState* State = GetSimState(Mesh);
	if (!State || !State->Class) return false;
	const int32 Index = State->Class->IndexOfName("BoundsExtent");
	if (Index < 0) return false;
	OutExtent = State->Values[static_cast<size_t>(Index)].VectorValue;
	return true;
}

namespace
{
void GatherStateBoxes(const FSimActorState* ActorState, std::vector<FSimBox>& OutBoxes)
{
	if (!ActorState || !ActorState->bHasStaticMeshComponent || !ActorState->World || ActorState->Values->bPendingKill) return;
	const FSimObjectRegistry& Registry = *ActorState->World->Registry;
	// Native StaticMeshComponent and SceneComponent properties come first, so their indices hold for subclasses.
	const FSimObjectRegistry::FNativeIndices& I = Registry.Indices;
	for (const FSimObjectState* State : ActorState->ComponentStates)
	{
		if (!State->Class->IsChildOf(Registry.StaticMeshComponentClass)) continue;
		const UObject* Mesh = State->Values[static_cast<size_t>(I.StaticMesh)].ObjectValue.Get();
		const FSimObjectState* MeshState = Mesh ? GetSimState(Mesh) : nullptr;
		if (!MeshState || !MeshState->Class->IsChildOf(Registry.StaticMeshClass)) continue;
		const FVector Extent = MeshState->Values[static_cast<size_t>(I.MeshBoundsExtent)].VectorValue;
		const FVector RelLoc = State->Values[static_cast<size_t>(I.RelativeLocation)].VectorValue;
		const FRotator RelRot = State->Values[static_cast<size_t>(I.RelativeRotation)].RotatorValue;
		const FVector RelScale = State->Values[static_cast<size_t>(I.RelativeScale3D)].VectorValue;
		const FVector Scale = ActorState->Scale;
		const FVector Location = ActorState->Location;
		const double Yaw = ActorState->Rotation.Yaw;
		const double Rad = Yaw * std::numbers::pi / 180.0;
		// The component's offset turns with the actor (scaled by it, as a child transform is).
		const double Ox = RelLoc.X * Scale.X, Oy = RelLoc.Y * Scale.Y, Oz = RelLoc.Z * Scale.Z;
		const FVector Center(Location.X + Ox * std::cos(Rad) - Oy * std::sin(Rad), Location.Y + Ox * std::sin(Rad) + Oy * std::cos(Rad),
			Location.Z + Oz);
		const FVector Scaled(Extent.X * Scale.X * RelScale.X, Extent.Y * Scale.Y * RelScale.Y, Extent.Z * Scale.Z * RelScale.Z);
		OutBoxes.push_back(MakeYawedBox(Center, Scaled, Yaw + RelRot.Yaw));
	}
}

}

void GatherActorBoxes(const AActor* Actor, std::vector<FSimBox>& OutBoxes)
{
	if (Actor) GatherStateBoxes(GetActorState(const_cast<AActor*>(Actor)), OutBoxes);
}

std::vector<FSimBox> GatherWorldBoxes(const UWorld* World)
{
	std::vector<FSimBox> Boxes;
	if (const auto* SimWorld = dynamic_cast<const FSimWorld*>(World))
	{
		for (const FSimActorState* State : SimWorld->ActorStates) GatherStateBoxes(State, Boxes);
	}
	else if (World)
	{
		for (AActor* Actor : World->GetActors()) GatherActorBoxes(Actor, Boxes);
	}
	return Boxes;
}
}
