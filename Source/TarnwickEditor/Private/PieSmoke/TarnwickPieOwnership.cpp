#include "PieSmoke/TarnwickPieOwnership.h"

#include "PieSmoke/PieSmokeObserver.h"

namespace Tarnwick::PieSmoke
{
std::optional<FPieOwner> FindSmokeSessionOwning(const UWorld* World)
{
	if (!World) return std::nullopt;
	for (const FPieSmokeSession* Session : FPieSmokeObserver::Get().GetSessions())
	{
		// Only a running session owns its PIE: a finished one has handed it back (or is ending it).
		if (Session->Runtime.Status != ESessionStatus::Running || Session->PieWorld.Get() != World) continue;
		return FPieOwner{Session->Id, Session->Runtime.bClockStarted};
	}
	return std::nullopt;
}
}
