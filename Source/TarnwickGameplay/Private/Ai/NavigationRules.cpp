#include "Ai/NavigationRules.h"

#include "NavigationSystem.h"
#include "Printf.h"

#include <algorithm>
#include <cmath>

namespace Tarnwick::Gameplay
{
namespace
{
bool ReadLocation(const FJson& Entry, FVector& Out)
{
	const auto It = Entry.find("location");
	if (It == Entry.end() || !It->is_array() || It->size() != 3) return false;
	double C[3];
	for (size_t I = 0; I < 3; ++I)
	{
		if (!(*It)[I].is_number() || !std::isfinite((*It)[I].get<double>())) return false;
		C[I] = (*It)[I].get<double>();
	}
	Out = FVector(C[0], C[1], C[2]);
	return true;
}

bool ReadName(const FJson& Entry, const char* Key, std::string& Out)
{
	const auto It = Entry.find(Key);
	if (It == Entry.end() || !It->is_string() || It->get<std::string>().empty()) return false;
	Out = It->get<std::string>();
	return true;
}
}

bool ParseNavPoints(const FJson* Value, std::vector<FNavPoint>& OutPoints, std::string& OutError)
{
	OutPoints.clear();
	if (!Value || !Value->is_array() || Value->empty())
	{
		OutError = "Parameter 'points' must be a non-empty array of {name, location: [x, y, z]}";
		return false;
	}
	for (size_t I = 0; I < Value->size(); ++I)
	{
		const FJson& Entry = (*Value)[I];
		FNavPoint Point;
		if (!Entry.is_object() || !ReadName(Entry, "name", Point.Name))
		{
			OutError = Tarnwick::Printf("points[%d]: 'name' must be a non-empty string", static_cast<int>(I));
			return false;
		}
		if (!ReadLocation(Entry, Point.Location))
		{
			OutError = Tarnwick::Printf("points[%d] (%s): 'location' must be [x, y, z] of finite numbers", static_cast<int>(I), Point.Name.c_str());
			return false;
		}
		for (const FNavPoint& Earlier : OutPoints)
		{
			if (Earlier.Name == Point.Name)
			{
				OutError = Tarnwick::Printf("points[%d]: the name '%s' is used twice", static_cast<int>(I), Point.Name.c_str());
				return false;
			}
		}
		OutPoints.push_back(std::move(Point));
	}
	return true;
}

bool ParseNavPairs(const FJson* Value, const std::vector<FNavPoint>& Points, std::vector<FNavPair>& OutPairs, std::string& OutError)
{
	OutPairs.clear();
	if (!Value || Value->is_null()) return true;
	if (!Value->is_array())
	{
		OutError = "Parameter 'require_path_pairs' must be an array of {from, to}";
		return false;
	}
	for (size_t I = 0; I < Value->size(); ++I)
	{
		const FJson& Entry = (*Value)[I];
		FNavPair Pair;
		if (!Entry.is_object() || !ReadName(Entry, "from", Pair.From) || !ReadName(Entry, "to", Pair.To))
		{
			OutError = Tarnwick::Printf("require_path_pairs[%d]: 'from' and 'to' must be point names", static_cast<int>(I));
			return false;
		}
		for (const std::string* Name : {&Pair.From, &Pair.To})
		{
			const bool bKnown = std::any_of(Points.begin(), Points.end(), [&](const FNavPoint& P) { return P.Name == *Name; });
			if (!bKnown)
			{
				OutError = Tarnwick::Printf("require_path_pairs[%d]: no point named '%s'", static_cast<int>(I), Name->c_str());
				return false;
			}
		}
		OutPairs.push_back(std::move(Pair));
	}
	return true;
}

double ClampNavTimeout(double Seconds)
{
	return std::clamp(Seconds, 0.0, MaxNavTimeoutSeconds);
}

FVector BoundsVolumeScale(const FVector& Extent)
{
	return FVector(Extent.X / NavMeshBoundsVolumeUnitExtent, Extent.Y / NavMeshBoundsVolumeUnitExtent, Extent.Z / NavMeshBoundsVolumeUnitExtent);
}
}
