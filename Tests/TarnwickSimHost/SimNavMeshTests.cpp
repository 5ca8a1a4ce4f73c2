// The navmesh rules: the grid over the bounds, walkable cells and obstacles grown by the agent's radius,
// heights and steps, projection of points, and A* paths (straight, around a wall, none through a closed wall,
// partial, off the mesh).
#include "SimNavMesh.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Tarnwick::Sim;

namespace
{
const FVector Extent(50, 50, 250);

/** A 20 x 20 m floor inside bounds that reach 5 m up and down. */
FSimNavMesh BuildMesh(std::vector<FSimBox> Boxes)
{
	Boxes.insert(Boxes.begin(), FSimBox{FVector(-1000, -1000, 0), FVector(1000, 1000, 0)});
	FSimNavMesh Mesh;
	Mesh.SetBounds({FSimBox{FVector(-1000, -1000, -500), FVector(1000, 1000, 500)}});
	for (int32 T = 0; T < Mesh.GetNumTiles(); ++T) Mesh.BuildTile(T, Boxes);
	return Mesh;
}

/** Every segment of the path stays on the navmesh. */
void ExpectWalkable(const FSimNavMesh& Mesh, const FNavigationPath& Path)
{
	for (size_t I = 1; I < Path.PathPoints.size(); ++I)
	{
		EXPECT_TRUE(Mesh.HasLineOfSight(Path.PathPoints[I - 1], Path.PathPoints[I])) << "segment " << I << " (" << Path.PathPoints[I - 1].X << "," << Path.PathPoints[I - 1].Y << ") -> (" << Path.PathPoints[I].X << "," << Path.PathPoints[I].Y << ")";
	}
}
}

TEST(SimNavMeshRules, TheGridCoversTheBoundsInWholeTiles)
{
	FSimNavMesh Mesh;
	Mesh.SetBounds({FSimBox{FVector(-1000, -1000, -500), FVector(1000, 1000, 500)}});
	EXPECT_EQ(Mesh.GetNumTiles(), 4);
	Mesh.SetBounds({FSimBox{FVector(-1200, -10, 0), FVector(50, 10, 100)}});
	EXPECT_EQ(Mesh.GetNumTiles(), 6) << "-2000..1000 in X, -1000..1000 in Y, on the tile grid anchored at 0";
	Mesh.SetBounds({});
	EXPECT_EQ(Mesh.GetNumTiles(), 0);
	FVector Out;
	EXPECT_FALSE(Mesh.ProjectPoint(FVector(), Extent, Out));
}

TEST(SimNavMeshRules, AnOpenFloorIsOneStraightSegment)
{
	const FSimNavMesh Mesh = BuildMesh({});
	EXPECT_EQ(Mesh.CountTilesWithData(), 4);
	const FNavigationPath Path = Mesh.FindPath(FVector(-500, -300, 90), FVector(600, 400, 0), Extent, false);
	ASSERT_TRUE(Path.IsValid());
	ASSERT_EQ(Path.PathPoints.size(), 2u);
	EXPECT_EQ(Path.PathPoints.front(), FVector(-500, -300, 0)) << "the start keeps its place on the floor";
	EXPECT_EQ(Path.PathPoints.back(), FVector(600, 400, 0));
	EXPECT_NEAR(Path.GetPathLength(), std::hypot(1100.0, 700.0), 1e-9);
	EXPECT_FALSE(Path.bIsPartial);
}

TEST(SimNavMeshRules, AWallBetweenTwoPointsIsWalkedAround)
{
	// A wall across the middle with a gap at the top end.
	const FSimNavMesh Mesh = BuildMesh({FSimBox{FVector(-50, -1000, 0), FVector(50, 500, 200)}});
	const FVector A(-500, 0, 0), B(500, 0, 0);
	EXPECT_FALSE(Mesh.HasLineOfSight(A, B));
	const FNavigationPath Path = Mesh.FindPath(A, B, Extent, false);
	ASSERT_TRUE(Path.IsValid());
	EXPECT_GT(Path.PathPoints.size(), 2u);
	// Out to the end of the wall (grown by the radius to y = 534), across and back: about 2 x 685 + 168.
	EXPECT_GT(Path.GetPathLength(), 1500.0);
	EXPECT_LT(Path.GetPathLength(), 2000.0);
	for (const FVector& P : Path.PathPoints) EXPECT_FALSE(P.X > -84 && P.X < 84 && P.Y < 534) << P.X << "," << P.Y;
	ExpectWalkable(Mesh, Path);
}

TEST(SimNavMeshRules, AClosedWallHasNoPathButAPartialOneWhenAllowed)
{
	const FSimNavMesh Mesh = BuildMesh({FSimBox{FVector(-50, -1000, 0), FVector(50, 1000, 200)}});
	EXPECT_FALSE(Mesh.FindPath(FVector(-500, 0, 0), FVector(500, 0, 0), Extent, false).IsValid());
	const FNavigationPath Partial = Mesh.FindPath(FVector(-500, 0, 0), FVector(500, 0, 0), Extent, true);
	ASSERT_TRUE(Partial.IsValid());
	EXPECT_TRUE(Partial.bIsPartial);
	// It ends against the wall (grown by the 34 cm radius), as close to the goal as the floor allows.
	EXPECT_NEAR(Partial.PathPoints.back().X, -90.0, 20.0);
	EXPECT_NEAR(Partial.PathPoints.back().Y, 0.0, 20.0);
}

TEST(SimNavMeshRules, PointsOffTheMeshDoNotProject)
{
	const FSimNavMesh Mesh = BuildMesh({FSimBox{FVector(200, 200, 0), FVector(400, 400, 300)}});
	FVector Out;
	EXPECT_TRUE(Mesh.ProjectPoint(FVector(0, 0, 100), Extent, Out));
	EXPECT_EQ(Out, FVector(0, 0, 0));
	EXPECT_FALSE(Mesh.ProjectPoint(FVector(300, 300, 0), Extent, Out)) << "inside an obstacle";
	EXPECT_FALSE(Mesh.ProjectPoint(FVector(1500, 0, 0), Extent, Out)) << "outside the bounds";
	EXPECT_FALSE(Mesh.ProjectPoint(FVector(0, 0, 400), Extent, Out)) << "too far above the floor";
	// Within the agent's radius of the obstacle the point moves to the nearest walkable cell.
	EXPECT_TRUE(Mesh.ProjectPoint(FVector(180, 300, 0), Extent, Out));
	EXPECT_LE(Out.X, 170.0);
	EXPECT_FALSE(Mesh.FindPath(FVector(0, 0, 0), FVector(300, 300, 0), Extent, true).IsValid());
}

TEST(SimNavMeshRules, StepsConnectAndHighPlatformsAreIslands)
{
	const FSimNavMesh Mesh = BuildMesh({FSimBox{FVector(100, -100, 0), FVector(300, 100, 30)},
		FSimBox{FVector(-400, -100, 0), FVector(-200, 100, 100)}});
	FVector Out;
	ASSERT_TRUE(Mesh.ProjectPoint(FVector(200, 0, 30), Extent, Out));
	EXPECT_EQ(Out.Z, 30.0);
	EXPECT_TRUE(Mesh.FindPath(FVector(0, 500, 0), FVector(200, 0, 30), Extent, false).IsValid()) << "a 30 cm step is climbed";
	ASSERT_TRUE(Mesh.ProjectPoint(FVector(-300, 0, 100), Extent, Out));
	EXPECT_EQ(Out.Z, 100.0);
	EXPECT_FALSE(Mesh.FindPath(FVector(0, 500, 0), FVector(-300, 0, 100), Extent, false).IsValid()) << "a 1 m platform is not";
}

TEST(SimNavMeshRules, FloorsOutsideTheBoundsHeightAreNotWalkable)
{
	FSimNavMesh Mesh;
	Mesh.SetBounds({FSimBox{FVector(-1000, -1000, 100), FVector(1000, 1000, 500)}});
	const std::vector<FSimBox> Boxes = {FSimBox{FVector(-1000, -1000, 0), FVector(1000, 1000, 0)}};
	for (int32 T = 0; T < Mesh.GetNumTiles(); ++T) Mesh.BuildTile(T, Boxes);
	EXPECT_EQ(Mesh.CountWalkableCells(), 0);
	EXPECT_EQ(Mesh.CountTilesWithData(), 0);
}

TEST(SimNavMeshRules, ABoxTouchesTheTilesItsGrownFootprintReaches)
{
	FSimNavMesh Mesh;
	Mesh.SetBounds({FSimBox{FVector(-1000, -1000, -500), FVector(1000, 1000, 500)}});
	EXPECT_EQ(Mesh.TilesTouching(FSimBox{FVector(100, 100, 0), FVector(200, 200, 100)}), std::vector<int32>{3});
	EXPECT_EQ(Mesh.TilesTouching(FSimBox{FVector(-10, 100, 0), FVector(10, 200, 100)}), (std::vector<int32>{2, 3}));
	EXPECT_EQ(Mesh.TilesTouching(FSimBox{FVector(-10, -10, 0), FVector(10, 10, 100)}), (std::vector<int32>{0, 1, 2, 3}));
	EXPECT_TRUE(Mesh.TilesTouching(FSimBox{FVector(5000, 5000, 0), FVector(5100, 5100, 100)}).empty());
}

TEST(SimNavMeshRules, TheSameQueryGivesTheSamePath)
{
	const FSimNavMesh Mesh = BuildMesh({FSimBox{FVector(-50, -1000, 0), FVector(50, 500, 200)},
		FSimBox{FVector(200, 300, 0), FVector(260, 900, 200)}});
	const FNavigationPath A = Mesh.FindPath(FVector(-600, -200, 0), FVector(700, 100, 0), Extent, false);
	const FNavigationPath B = Mesh.FindPath(FVector(-600, -200, 0), FVector(700, 100, 0), Extent, false);
	ASSERT_TRUE(A.IsValid());
	EXPECT_EQ(A.PathPoints, B.PathPoints);
	ExpectWalkable(Mesh, A);
}
