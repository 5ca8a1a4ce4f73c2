// The editor's background throttle, suppressed while smoke sessions run: a backgrounded editor otherwise drops to
// a few frames per second and stops rendering, so neither frame counts nor captures would be reproducible.
// Sessions share one suppression: the first reference saves the preference and clears it (in memory only, never
// saved), the last release writes the saved value back. Game thread only.
#pragma once
#include "HostTypes.h"

namespace Tarnwick::PieSmoke
{
class FThrottleSuppression
{
public:
	static FThrottleSuppression& Get();

	void Acquire();
	/** Does nothing when no reference is held. */
	void Release();
	int32 GetReferenceCount() const { return Count; }

	/** Puts the preference back if still suppressed and forgets every reference (module shutdown, tests). */
	void Reset();

private:
	int32 Count = 0;
	bool bSavedThrottle = true;
};
}
