// get_navmesh_stats, add_nav_bounds_volume, rebuild_navigation / build_navigation and validate_nav_points, over
// the chosen world's UNavigationSystemV1.
#include "Ai/NavigationRules.h"
#include "Catalogue/GameplayCatalogue.h"
#include "Common/GameplayWorlds.h"
#include "GameplayHandlers.h"

#include "NavigationSystem.h"
#include "PlatformTime.h"
#include "Printf.h"
#include "UObjectGlobals.h"

#include <algorithm>

namespace Tarnwick::Gameplay
{
namespace
{
constexpr const char* NoBoundsWarning =
	"This world has no NavMeshBoundsVolume, so there is nothing to build: add one with ai_add_nav_bounds_volume.";

struct FNavWorld
{
	UWorld* World = nullptr;
	std::string Which;
	UNavigationSystemV1* Nav = nullptr;
};

bool FindNav(const FJsonPtr& Params, EWorldChoice Default, FNavWorld& Out, FTarnwickActionResult& OutError)
{
	EWorldChoice Choice;
	if (!ReadWorldChoice(Params, Default, Choice, OutError)) return false;
	Out.World = ResolveWorld(Choice, Out.Which, OutError);
	if (!Out.World) return false;
	Out.Nav = UNavigationSystemV1::GetCurrent(Out.World);
	if (!Out.Nav)
	{
		OutError = EditorFailure(Tarnwick::Printf("The %s world %s has no navigation system", Out.Which.c_str(), Out.World->GetMapName().c_str()));
		return false;
	}
	return true;
}

/** The navmesh facts every navigation reply ends with. */
void AddFacts(FJson& Out, const FNavWorld& W)
{
	Out["tile_count"] = W.Nav->GetNavMeshTilesCount();
	Out["dirty_areas_remaining"] = W.Nav->GetNumRemainingBuildTasks();
	Out["nav_bounds_volume_count"] = W.Nav->GetNumNavigationBounds();
	Out["world"] = W.Which;
	Out["map"] = W.World->GetMapName();
}

FTarnwickActionResult GetNavmeshStats(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FNavWorld W;
	if (!FindNav(Params, EWorldChoice::Auto, W, Error)) return Error;
	FJson Result = FJson::object();
	Result["is_built"] = W.Nav->IsNavigationBuilt();
	Result["nav_bounds_volume_count"] = W.Nav->GetNumNavigationBounds();
	Result["tile_count"] = W.Nav->GetNavMeshTilesCount();
	Result["dirty_areas_remaining"] = W.Nav->GetNumRemainingBuildTasks();
	Result["build_in_progress"] = W.Nav->IsNavigationBuildInProgress();
	Result["world"] = W.Which;
	Result["map"] = W.World->GetMapName();
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult AddNavBoundsVolume(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	FVector Location, Extent;
	if (!ReadVectorParam(Params, "location", Location, Error) || !ReadVectorParam(Params, "extent", Extent, Error)) return Error;
	if (!(Extent.X > 0.0 && Extent.Y > 0.0 && Extent.Z > 0.0))
	{
		return InvalidParam("extent", "Parameter 'extent' must be a half size [x, y, z] with every component above 0");
	}
	std::string Folder = "Navigation";
	if (const auto It = Params->find("folder_path"); It != Params->end() && !It->is_null())
	{
		if (!It->is_string()) return InvalidParam("folder_path", "Parameter 'folder_path' must be a string");
		Folder = It->get<std::string>();
	}
	EWorldChoice Choice;
	if (!ReadWorldChoice(Params, EWorldChoice::Editor, Choice, Error)) return Error;
	if (Choice == EWorldChoice::Auto)
	{
		return InvalidParam("world", "Parameter 'world' of ai.add_nav_bounds_volume must be editor or pie: say which world to change");
	}
	FNavWorld W;
	if (!FindNav(Params, Choice, W, Error)) return Error;
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	std::string Why;
	UClass* Class = Objects ? Objects->LoadClass(NavMeshBoundsVolumeClassPath, &Why) : nullptr;
	if (!Class) return EditorFailure(Tarnwick::Printf("Cannot load %s: %s", NavMeshBoundsVolumeClassPath, Why.c_str()));
	FActorSpawnParameters Spawn;
	Spawn.Location = Location;
	Spawn.Scale = BoundsVolumeScale(Extent);
	Spawn.FolderPath = Folder;
	AActor* Volume = W.World->SpawnActor(Class, Spawn, &Why);
	if (!Volume) return EditorFailure(Tarnwick::Printf("SpawnActor of the NavMeshBoundsVolume failed: %s", Why.c_str()));
	FJson Result = FJson::object();
	Result["name"] = Volume->GetName();
	Result["label"] = Volume->GetActorLabel();
	Result["location"] = VectorJson(Location);
	Result["extent"] = VectorJson(Extent);
	Result["folder_path"] = Folder;
	Result["nav_bounds_volume_count"] = W.Nav->GetNumNavigationBounds();
	Result["is_built"] = W.Nav->IsNavigationBuilt();
	Result["world"] = W.Which;
	Result["note"] = W.Nav->IsNavigationBuilt() || W.Nav->IsNavigationBuildInProgress()
		? "Navigation is built here: the tiles the volume covers regenerate over the next frames."
		: "Navigation is not built in this world: run ai_rebuild_navigation.";
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult RebuildNavigation(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	double Timeout = DefaultNavTimeoutSeconds;
	bool bPresent = false;
	if (!ReadOptionalNumber(Params, "timeout_seconds", Timeout, bPresent, Error)) return Error;
	const double Requested = Timeout;
	Timeout = ClampNavTimeout(bPresent ? Timeout : DefaultNavTimeoutSeconds);
	FNavWorld W;
	if (!FindNav(Params, EWorldChoice::Auto, W, Error)) return Error;
	// UNavigationSystemV1::Build within the call, tile by tile, so that the deadline can be honoured; what is
	// left when it passes goes on over the following frames.
	const double Start = FPlatformTime::Seconds();
	const double Deadline = Start + Timeout;
	W.Nav->RebuildAll();
	const int32 Total = W.Nav->GetNumRemainingBuildTasks();
	while (W.Nav->IsNavigationBuildInProgress() && FPlatformTime::Seconds() < Deadline) W.Nav->Tick(0.0f);
	const int32 Left = W.Nav->GetNumRemainingBuildTasks();
	FJson Result = FJson::object();
	Result["built"] = W.Nav->IsNavigationBuilt();
	Result["timed_out"] = Left > 0;
	Result["timeout_seconds"] = Timeout;
	if (bPresent && Requested != Timeout) Result["timeout_seconds_requested"] = Requested;
	Result["elapsed_seconds"] = FPlatformTime::Seconds() - Start;
	Result["tiles_built"] = Total - Left;
	AddFacts(Result, W);
	if (W.Nav->GetNumNavigationBounds() == 0) Result["warning"] = NoBoundsWarning;
	return FTarnwickActionResult::Success(std::move(Result));
}

FTarnwickActionResult ValidateNavPoints(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	const FJson* PointsJson = nullptr;
	const FJson* PairsJson = nullptr;
	if (Params && Params->is_object())
	{
		if (const auto It = Params->find("points"); It != Params->end()) PointsJson = &*It;
		if (const auto It = Params->find("require_path_pairs"); It != Params->end()) PairsJson = &*It;
	}
	std::vector<FNavPoint> Points;
	std::vector<FNavPair> Pairs;
	std::string Why;
	if (!ParseNavPoints(PointsJson, Points, Why)) return InvalidParam("points", Why);
	if (!ParseNavPairs(PairsJson, Points, Pairs, Why)) return InvalidParam("require_path_pairs", Why);
	FNavWorld W;
	if (!FindNav(Params, EWorldChoice::Auto, W, Error)) return Error;
	const FVector Extent = W.Nav->GetDefaultQueryExtent();
	FJson PointResults = FJson::array();
	bool bAllOn = true;
	for (const FNavPoint& P : Points)
	{
		FVector OnMesh;
		const bool bOn = W.Nav->ProjectPointToNavigation(P.Location, OnMesh, Extent);
		bAllOn = bAllOn && bOn;
		FJson Entry{{"name", P.Name}, {"location", VectorJson(P.Location)}, {"on_navmesh", bOn}};
		if (bOn) Entry["navmesh_location"] = VectorJson(OnMesh);
		PointResults.push_back(std::move(Entry));
	}
	FJson PairResults = FJson::array();
	bool bAllConnected = true;
	auto Find = [&](const std::string& Name) -> const FNavPoint& {
		return *std::find_if(Points.begin(), Points.end(), [&](const FNavPoint& P) { return P.Name == Name; });
	};
	for (const FNavPair& Pair : Pairs)
	{
		const FNavigationPath Path = W.Nav->FindPathToLocationSynchronously(Find(Pair.From).Location, Find(Pair.To).Location, false);
		bAllConnected = bAllConnected && Path.IsValid();
		PairResults.push_back(FJson{{"from", Pair.From}, {"to", Pair.To}, {"path_found", Path.IsValid()},
			{"path_length", Path.IsValid() ? Path.GetPathLength() : 0.0}, {"path_point_count", Path.PathPoints.size()}});
	}
	FJson Result = FJson::object();
	Result["is_built"] = W.Nav->IsNavigationBuilt();
	Result["points"] = std::move(PointResults);
	Result["pairs"] = std::move(PairResults);
	Result["all_points_on_navmesh"] = bAllOn;
	Result["all_pairs_connected"] = bAllConnected;
	Result["world"] = W.Which;
	Result["map"] = W.World->GetMapName();
	if (!W.Nav->IsNavigationBuilt() && !W.Nav->IsNavigationBuildInProgress())
	{
		Result["warning"] = "Navigation is not built in this world, so no point is on a navmesh: run ai_rebuild_navigation first.";
	}
	return FTarnwickActionResult::Success(std::move(Result));
}
}

void AddNavigationHandlers(FGameplayHandlerTable& Table)
{
	Table[{AiNamespace, "get_navmesh_stats"}] = GetNavmeshStats;
	Table[{AiNamespace, "add_nav_bounds_volume"}] = AddNavBoundsVolume;
	Table[{AiNamespace, "rebuild_navigation"}] = RebuildNavigation;
	Table[{AiNamespace, "build_navigation"}] = RebuildNavigation;
	Table[{AiNamespace, "validate_nav_points"}] = ValidateNavPoints;
}
}
