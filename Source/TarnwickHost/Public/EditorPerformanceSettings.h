// The editor's performance preferences, the engine's UEditorPerformanceSettings class default object. Only the
// background throttle matters to the modules: with bThrottleCPUWhenNotForeground set (the engine's default,
// "Use Less CPU when in Background") an editor without the user's focus drops to a few frames per second and
// stops rendering its viewports. The smoke harness clears it in memory while its sessions run (never saving
// it) and puts it back afterwards.
//
// One process-wide object, read by the host's frame loop; game thread only.
#pragma once

class UEditorPerformanceSettings
{
public:
	bool bThrottleCPUWhenNotForeground = true;

	/** The class default object (the engine's GetMutableDefault<UEditorPerformanceSettings>()). */
	static UEditorPerformanceSettings* GetMutableDefault();
};
