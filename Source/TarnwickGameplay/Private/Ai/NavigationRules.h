// Pure rules of the navigation actions: the points and pairs validate_nav_points checks, the rebuild timeout
// clamp, and a bounds volume's scale from its extent.
#pragma once
#include "MathTypes.h"
#include "TarnwickJson.h"

#include <string>
#include <vector>

namespace Tarnwick::Gameplay
{
inline constexpr double DefaultNavTimeoutSeconds = 30.0;
inline constexpr double MaxNavTimeoutSeconds = 600.0;

struct FNavPoint
{
	std::string Name;
	FVector Location;
};

struct FNavPair
{
	std::string From;
	std::string To;
};

/** A non-empty array of {name, location: [x, y, z]} with unique names; errors name the entry ("points[1]: ..."). */
bool ParseNavPoints(const FJson* Value, std::vector<FNavPoint>& OutPoints, std::string& OutError);
/** An optional array of {from, to}, each naming one of the points. */
bool ParseNavPairs(const FJson* Value, const std::vector<FNavPoint>& Points, std::vector<FNavPair>& OutPairs, std::string& OutError);
/** Seconds clamped to 0..600. */
double ClampNavTimeout(double Seconds);
/** The scale that gives a NavMeshBoundsVolume this half size. */
FVector BoundsVolumeScale(const FVector& Extent);
}
