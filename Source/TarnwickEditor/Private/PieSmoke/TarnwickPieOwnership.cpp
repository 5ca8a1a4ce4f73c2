#include "PieSmoke/TarnwickPieOwnership.h"

namespace Tarnwick::PieSmoke
{
std::optional<FPieOwner> FindSmokeSessionOwning(const UWorld* World)
{
	// No smoke session can start a PIE yet, so every PIE is the user's. The smoke session registry answers
	// this once it exists: the running session whose PIE world is World, with its id and ready flag.
	(void)World;
	return std::nullopt;
}
}
