// The plugin settings. Read afresh at every use from <Project>/Config/DefaultTarnwick.ini, section
// [/Script/TarnwickCore.TarnwickSettings], keys named as the fields; a missing file or key gives the default
// below. Nothing caches them, so an edit to the file takes effect at the next call.
#pragma once
#include "HostTypes.h"

#include <string>

struct UTarnwickSettings
{
	bool bEnableEditor = true;
	bool bAllowEditorRestart = false;
	bool bUseRestartLock = true;
	int32 RestartLockSeconds = 60;
	bool bUseCompileLock = true;
	int32 CompileLockSeconds = 300;
	bool bAllowRestartOnCrash = false;

	static constexpr const char* SectionName = "/Script/TarnwickCore.TarnwickSettings";

	/** The settings as the file says now. */
	static UTarnwickSettings Get();
	/** Same as Get: the engine reaches settings through the class default object. */
	static UTarnwickSettings GetDefault() { return Get(); }
	/** Path of the settings file for the current project. */
	static std::string GetConfigFilePath();
	/** Parses settings from ini text (pure; missing keys keep their defaults). */
	static UTarnwickSettings FromIniText(const std::string& Text);
};
