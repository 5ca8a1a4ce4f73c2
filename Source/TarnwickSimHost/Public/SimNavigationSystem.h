// A world's navigation system (UNavigationSystemV1 over the simulated navmesh of SimNavMesh.h).
//
// Where: the world's NavMeshBoundsVolumes (a 200 cm cube scaled by the volume's scale, turned by its yaw). What
// blocks and what is walked on: the world's static mesh boxes (SimCollision.h). Build() generates every tile
// within the call; RebuildAll() marks every tile dirty and Tick() regenerates one dirty tile per call, in tile
// order; the world ticks its navigation system once per frame. Once the navmesh exists, every frame compares the
// volumes and boxes with those the tiles were built from: a changed volume lays the grid out again and marks
// every tile dirty; a moved, added or removed box marks the tiles it touched before and touches now. A world
// whose navigation was never built stays without a navmesh until something builds it. Game thread only.
#pragma once
#include "NavigationSystem.h"
#include "SimNavMesh.h"

#include <set>
#include <vector>

namespace Tarnwick::Sim
{
class FSimWorld;

class FSimNavigationSystem final : public UNavigationSystemV1
{
public:
	explicit FSimNavigationSystem(FSimWorld& InWorld) : World(InWorld) {}

	void Build() override;
	void RebuildAll() override;
	void Tick(float DeltaSeconds) override;
	/** Built once, nothing waiting, and somewhere to build: a world without bounds volumes has no navmesh. */
	bool IsNavigationBuilt() const override { return bHasNavData && DirtyTiles.empty() && Mesh.GetNumTiles() > 0; }
	bool IsNavigationBuildInProgress() const override { return !DirtyTiles.empty(); }
	int32 GetNumRemainingBuildTasks() const override { return static_cast<int32>(DirtyTiles.size()); }
	int32 GetNavMeshTilesCount() const override { return bHasNavData ? Mesh.CountTilesWithData() : 0; }
	int32 GetNumNavigationBounds() const override;
	bool ProjectPointToNavigation(const FVector& Point, FVector& OutLocation, const FVector& Extent) const override;
	FVector GetDefaultQueryExtent() const override { return FVector(50.0, 50.0, 250.0); }
	FNavigationPath FindPathToLocationSynchronously(const FVector& Start, const FVector& End, bool bAllowPartialPath = false) const override;

	/** The world's frame: notice edits since the last build, then regenerate one dirty tile. */
	void TickWorld();
	/** Takes over another world's navmesh as it stands (a PIE world starts with the editor world's). */
	void CopyFrom(const FSimNavigationSystem& Other);
	const FSimNavMesh& GetNavMesh() const { return Mesh; }
	bool HasNavData() const { return bHasNavData; }

private:
	std::vector<FSimBox> GatherBounds() const;
	void NoticeEdits();

	FSimWorld& World;
	FSimNavMesh Mesh;
	bool bHasNavData = false;
	std::set<int32> DirtyTiles;
	/** The boxes the tiles were last built from (or marked dirty against). */
	std::vector<FSimBox> BuiltBoxes;
};
}
