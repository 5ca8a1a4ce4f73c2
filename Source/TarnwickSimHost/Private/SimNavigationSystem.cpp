#include "SimNavigationSystem.h"

#include "Logging.h"
#include "SimObjects.h"

#include <algorithm>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogNavigation("LogNavigation");

/** Boxes of A that B does not hold (as many times as A holds them more often). */
std::vector<FSimBox> Missing(const std::vector<FSimBox>& A, const std::vector<FSimBox>& B)
{
	std::vector<bool> Used(B.size(), false);
	std::vector<FSimBox> Out;
	for (const FSimBox& Box : A)
	{
		bool bMatched = false;
		for (size_t I = 0; I < B.size() && !bMatched; ++I)
		{
			if (!Used[I] && B[I] == Box) Used[I] = bMatched = true;
		}
		if (!bMatched) Out.push_back(Box);
	}
	return Out;
}
}

std::vector<FSimBox> FSimNavigationSystem::GatherBounds() const
{
	std::vector<FSimBox> Bounds;
	for (const FSimActorState* Actor : World.ActorStates)
	{
		if (Actor->Values->bPendingKill || !Actor->Values->Class->IsChildOf(World.Registry->NavMeshBoundsVolumeClass)) continue;
		const FVector S = Actor->Scale;
		Bounds.push_back(MakeYawedBox(Actor->Location,
			FVector(NavMeshBoundsVolumeUnitExtent * S.X, NavMeshBoundsVolumeUnitExtent * S.Y, NavMeshBoundsVolumeUnitExtent * S.Z),
			Actor->Rotation.Yaw));
	}
	return Bounds;
}

int32 FSimNavigationSystem::GetNumNavigationBounds() const
{
	return static_cast<int32>(GatherBounds().size());
}

void FSimNavigationSystem::RebuildAll()
{
	Mesh.SetBounds(GatherBounds());
	BuiltBoxes = GatherWorldBoxes(&World);
	DirtyTiles.clear();
	for (int32 T = 0; T < Mesh.GetNumTiles(); ++T) DirtyTiles.insert(T);
	bHasNavData = true;
}

void FSimNavigationSystem::Tick(float)
{
	if (DirtyTiles.empty()) return;
	const int32 Tile = *DirtyTiles.begin();
	DirtyTiles.erase(DirtyTiles.begin());
	Mesh.BuildTile(Tile, BuiltBoxes);
	if (DirtyTiles.empty())
	{
		TW_LOG(LogNavigation, Log, "Navigation build of %s finished: %d tiles with navmesh of %d", World.GetPathName().c_str(),
			Mesh.CountTilesWithData(), Mesh.GetNumTiles());
	}
}

void FSimNavigationSystem::Build()
{
	RebuildAll();
	while (!DirtyTiles.empty()) Tick(0.0f);
}

void FSimNavigationSystem::NoticeEdits()
{
	std::vector<FSimBox> Bounds = GatherBounds();
	if (Bounds != Mesh.GetBounds())
	{
		TW_LOG(LogNavigation, Log, "Navigation bounds of %s changed: rebuilding every tile", World.GetPathName().c_str());
		RebuildAll();
		return;
	}
	std::vector<FSimBox> Boxes = GatherWorldBoxes(&World);
	if (Boxes == BuiltBoxes) return;
	for (const std::vector<FSimBox>& Changed : {Missing(BuiltBoxes, Boxes), Missing(Boxes, BuiltBoxes)})
	{
		for (const FSimBox& Box : Changed)
		{
			for (int32 Tile : Mesh.TilesTouching(Box)) DirtyTiles.insert(Tile);
		}
	}
	BuiltBoxes = std::move(Boxes);
}

void FSimNavigationSystem::TickWorld()
{
	if (!bHasNavData) return;
	NoticeEdits();
	Tick(0.0f);
}

void FSimNavigationSystem::CopyFrom(const FSimNavigationSystem& Other)
{
	Mesh = Other.Mesh;
	bHasNavData = Other.bHasNavData;
	DirtyTiles = Other.DirtyTiles;
	BuiltBoxes = Other.BuiltBoxes;
}

bool FSimNavigationSystem::ProjectPointToNavigation(const FVector& Point, FVector& OutLocation, const FVector& Extent) const
{
	return bHasNavData && Mesh.ProjectPoint(Point, Extent, OutLocation);
}

FNavigationPath FSimNavigationSystem::FindPathToLocationSynchronously(const FVector& Start, const FVector& End, bool bAllowPartialPath) const
{
	if (!bHasNavData) return FNavigationPath();
	return Mesh.FindPath(Start, End, GetDefaultQueryExtent(), bAllowPartialPath);
}
}
