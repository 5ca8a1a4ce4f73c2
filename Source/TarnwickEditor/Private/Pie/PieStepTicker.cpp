#include "Pie/PieStepTicker.h"

#include "TarnwickEngineUtils.h"
#include "Ticker.h"
#include "World.h"

namespace Tarnwick::Pie
{
namespace
{
FTSTicker::FDelegateHandle GStepHandle;
int32 GStepTicksLeft = 0;

bool TickStep(float)
{
	UWorld* World = Tarnwick::GetPIEWorld();
	if (!World)
	{
		// PIE ended underneath the step: nothing is left to re-pause.
		GStepTicksLeft = 0;
		GStepHandle.Reset();
		return false;
	}
	if (--GStepTicksLeft > 0) return true;
	UGameplayStatics::SetGamePaused(World, true);
	GStepTicksLeft = 0;
	GStepHandle.Reset();
	return false;
}
}

void StartPieStep(int32 Frames)
{
	CancelPieStep();
	GStepTicksLeft = Frames;
	UGameplayStatics::SetGamePaused(Tarnwick::GetPIEWorld(), false);
	GStepHandle = FTSTicker::GetCoreTicker().AddTicker("TarnwickPieStep", 0.0f, TickStep);
}

void CancelPieStep()
{
	if (GStepHandle.IsValid())
	{
		FTSTicker::GetCoreTicker().RemoveTicker(GStepHandle);
		GStepHandle.Reset();
	}
	GStepTicksLeft = 0;
}

bool IsPieStepPending()
{
	return GStepHandle.IsValid();
}

int32 GetPieStepTicksLeft()
{
	return GStepTicksLeft;
}
}
