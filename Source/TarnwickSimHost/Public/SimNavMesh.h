// The simulated navmesh: a grid of square cells over the navigation bounds, grouped in square tiles, each cell
// walkable or not with the height of its floor. Pure rules over plain values (bounds and boxes in, paths out);
// the world's navigation system (SimNavigationSystem.h) feeds it and decides when tiles are rebuilt.
//
// A cell is inside the navmesh when its centre lies in a bounds box. Its floor is the highest box top under its
// centre that lies within that bounds box's height; with no floor it is not walkable. A walkable cell has no
// obstacle within the agent's radius: no box whose top is more than the step height above the floor and whose
// bottom is below the floor plus the agent's height. Neighbouring cells connect when their floors differ by at
// most the step height; diagonal moves need both side cells. Paths are found by A* over the cells (octile
// distance), then straightened wherever a straight line stays on connected walkable cells.
#pragma once
#include "NavigationSystem.h"
#include "SimCollision.h"

#include <cstdint>
#include <vector>

namespace Tarnwick::Sim
{
struct FSimNavMeshConfig
{
	double CellSize = 40.0;
	/** Cells along one side of a tile (1000 cm tiles, the engine's default tile size). */
	int32 TileCells = 25;
	/** The default navigation agent (the engine's defaults). */
	double AgentRadius = 34.0;
	double AgentHeight = 144.0;
	double MaxStepHeight = 35.0;
};

class FSimNavMesh
{
public:
	explicit FSimNavMesh(FSimNavMeshConfig InConfig = FSimNavMeshConfig()) : Config(InConfig) {}

	/** Lays the grid out over the bounds (snapped outwards to whole tiles); every cell starts unbuilt. */
	void SetBounds(const std::vector<FSimBox>& InBounds);
	const std::vector<FSimBox>& GetBounds() const { return Bounds; }
	int32 GetNumTiles() const { return TilesX * TilesY; }
	int32 GetTilesX() const { return TilesX; }
	/** Regenerates one tile's cells from the boxes. */
	void BuildTile(int32 Tile, const std::vector<FSimBox>& Boxes);
	/** The tiles a box (grown by the agent's radius and one cell) touches, in tile order. */
	std::vector<int32> TilesTouching(const FSimBox& Box) const;
	/** Tiles that hold at least one walkable cell. */
	int32 CountTilesWithData() const;
	int32 CountWalkableCells() const;

	/** The nearest walkable cell centre (at its floor height) within Extent of Point. */
	bool ProjectPoint(const FVector& Point, const FVector& Extent, FVector& OutLocation) const;
	/**
	 * A path between the projections of Start and End. When End cannot be reached, a partial path to the reachable
	 * cell nearest to it when allowed, else none.
	 */
	FNavigationPath FindPath(const FVector& Start, const FVector& End, const FVector& Extent, bool bAllowPartialPath) const;
	/** Whether a straight walk from A to B stays on connected walkable cells. */
	bool HasLineOfSight(const FVector& A, const FVector& B) const;

	const FSimNavMeshConfig& GetConfig() const { return Config; }

private:
	struct FCell
	{
		float Height = 0.0f;
		bool bWalkable = false;
		/** The moves A* may make from here, one bit per direction of NeighbourDX/DY (kept up to date per tile). */
		uint8_t Moves = 0;
	};
	/** Recomputes the moves of the cells in the rectangle (clamped to the grid). */
	void UpdateMoves(int32 X0, int32 Y0, int32 X1, int32 Y1);
	int32 CellIndex(int32 X, int32 Y) const { return Y * CellsX + X; }
	bool CellAt(double X, double Y, int32& OutX, int32& OutY) const;
	FVector CellCenter(int32 Index) const;
	bool Connected(int32 A, int32 B) const;
	int32 NearestWalkable(const FVector& Point, const FVector& Extent) const;

	FSimNavMeshConfig Config;
	std::vector<FSimBox> Bounds;
	double OriginX = 0.0, OriginY = 0.0;
	int32 TilesX = 0, TilesY = 0, CellsX = 0, CellsY = 0;
	std::vector<FCell> Cells;

	// A* scratch, reused between searches (a search is stamped, so nothing is cleared between them).
	mutable std::vector<uint32> Stamp;
	mutable std::vector<float> G;
	mutable std::vector<int32> Parent;
	mutable std::vector<uint8_t> Closed;
	mutable uint32 Search = 0;
};
}
