// The player's view target, as the engine's player camera manager keeps it.
#include "SimObjects.h"

#include "Logging.h"

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogPlayerController("LogPlayerController");
}

AActor* FSimPlayerController::GetViewTarget() const
{
	// A target that has been destroyed is dropped for the pawn, as the camera manager does on its next update.
	if (AActor* Target = Cast<AActor>(ViewTarget.Get()); IsValid(Target)) return Target;
	if (APawn* Pawn = GetPawn(); IsValid(Pawn)) return Pawn;
	return const_cast<FSimPlayerController*>(this);
}

void FSimPlayerController::SetViewTarget(AActor* NewViewTarget)
{
	AActor* Target = NewViewTarget ? NewViewTarget : this;
	ViewTarget = FWeakObjectPtr(Target);
	TW_LOG(LogPlayerController, Verbose, "%s: view target set to %s", GetName().c_str(), Target->GetName().c_str());
}
}
