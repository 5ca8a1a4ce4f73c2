// The shapes the simulated editor's renderer draws, as polygon meshes in local space: the engine's basic shapes
// (box, sphere, cylinder, cone, plane) at unit size and capsules of any proportion. Polygons are convex, with
// three or four corners; every closed shape is convex, so "outward" is "away from the shape's centre".
#pragma once
#include "HostTypes.h"
#include "MathTypes.h"

#include <array>
#include <memory>
#include <vector>

namespace Tarnwick::Sim
{
struct FSimPolygon
{
	std::array<int32, 4> Corners{};
	int32 Count = 3;
};

struct FSimMesh
{
	std::vector<FVector> Vertices;
	std::vector<FSimPolygon> Polygons;
	/** Triangles the mesh is drawn as (a quad is two). */
	int32 NumTriangles = 0;
	/** A flat surface seen from both sides (a plane); closed shapes show their outside only. */
	bool bTwoSided = false;
};

namespace SimShapes
{
/** Corners at (+-1, +-1, +-1). */
const FSimMesh& UnitBox();
/** Radius 1 about the origin: 24 segments around, 12 rings from pole to pole. */
const FSimMesh& UnitSphere();
/** Radius 1, Z from -1 to 1, 24 segments, capped. */
const FSimMesh& UnitCylinder();
/** Base of radius 1 at Z = -1, apex at Z = 1, 24 segments. */
const FSimMesh& UnitCone();
/** X and Y from -1 to 1 at Z = 0, facing +Z, as a 16 by 16 grid so that point lights fall off across it. */
const FSimMesh& UnitPlane();
/**
 * A capsule along Z with the engine's measures: HalfHeight from the centre to the tip (hemispheres included), at
 * least Radius. 24 segments around, 6 rings per hemisphere.
 */
std::shared_ptr<const FSimMesh> MakeCapsule(double Radius, double HalfHeight);
}
}
