// The static geometry of a world as characters and the navmesh see it: every static mesh component with a mesh
// is one axis-aligned box, its mesh's BoundsExtent scaled by the actor's and the component's scale and turned by
// their yaw (the box is the turned box's axis-aligned bounds; pitch and roll are ignored). A plane is a box of
// no height, which is enough to stand on. Pure rules over plain values, plus the gathering from a world.
#pragma once
#include "MathTypes.h"
#include "World.h"

#include <vector>

namespace Tarnwick::Sim
{
struct FSimBox
{
	FVector Min;
	FVector Max;

	bool operator==(const FSimBox&) const = default;
	/** The point's X and Y lie within the box's footprint (edges included). */
	bool ContainsXY(double X, double Y) const { return X >= Min.X && X <= Max.X && Y >= Min.Y && Y <= Max.Y; }
	/** The box grown by Amount on every horizontal side. */
	FSimBox ExpandedXY(double Amount) const;
	bool Intersects(const FSimBox& Other) const;
};

/** The axis-aligned bounds of a box with half size Extent centred at Center and turned by YawDegrees. */
FSimBox MakeYawedBox(const FVector& Center, const FVector& Extent, double YawDegrees);

/** The mesh's BoundsExtent (its reflected value), or false when the object is not a mesh with one. */
bool GetMeshBoundsExtent(const UObject* Mesh, FVector& OutExtent);

/**
 * The blocking boxes of one actor: one per static mesh component that has a mesh. Empty for actors without
 * one (characters are capsules, not boxes; volumes do not block).
 */
void GatherActorBoxes(const AActor* Actor, std::vector<FSimBox>& OutBoxes);

/** Every blocking box of the world's live actors, in actor order. */
std::vector<FSimBox> GatherWorldBoxes(const UWorld* World);
}
