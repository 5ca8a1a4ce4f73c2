// Who owns a running PIE: a live smoke session that started it, or the user. is_pie_active asks this so that
// an agent does not drive a PIE that a run_pie_smoke session will end on its own schedule.
#pragma once
#include <optional>
#include <string>

class UWorld;

namespace Tarnwick::PieSmoke
{
/** The live smoke session that owns a PIE world. */
struct FPieOwner
{
	std::string SessionId;
	/** Whether the session's clock has started (its world settled and began play). */
	bool bSessionReady = false;
};

/** The live smoke session that started World's PIE, or nullopt when the PIE is the user's. Game thread only. */
std::optional<FPieOwner> FindSmokeSessionOwning(const UWorld* World);
}
