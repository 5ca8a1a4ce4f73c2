#include "PieSmoke/ThrottleSuppression.h"

#include "EditorPerformanceSettings.h"

namespace Tarnwick::PieSmoke
{
FThrottleSuppression& FThrottleSuppression::Get()
{
	static FThrottleSuppression Instance;
	return Instance;
}

void FThrottleSuppression::Acquire()
{
	if (Count++ == 0)
	{
		UEditorPerformanceSettings* Settings = UEditorPerformanceSettings::GetMutableDefault();
		bSavedThrottle = Settings->bThrottleCPUWhenNotForeground;
		Settings->bThrottleCPUWhenNotForeground = false;
	}
}

void FThrottleSuppression::Release()
{
	if (Count == 0) return;
	if (--Count == 0) UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground = bSavedThrottle;
}

void FThrottleSuppression::Reset()
{
	if (Count > 0) UEditorPerformanceSettings::GetMutableDefault()->bThrottleCPUWhenNotForeground = bSavedThrottle;
	Count = 0;
}
}
