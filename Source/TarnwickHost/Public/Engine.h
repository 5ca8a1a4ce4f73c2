// The engine object, the engine's UEngine (GEngine): console command execution on a world.
//
// UEngine::Exec runs one console command line against a world and writes whatever the command prints to the
// given output device; it returns false when no handler recognised the command (and then prints nothing: the
// engine's console, like APlayerController::ConsoleCommand, is what answers "Command not recognized: %s").
// In the editor GEngine is the editor engine itself (UEditorEngine derives from UEngine).
//
// The host installs its engine with SetEditor (Editor.h) or SetEngine. Game thread only.
#pragma once
#include "Logging.h"

#include <string>

class UWorld;

class UEngine
{
public:
	virtual ~UEngine() = default;

	/**
	 * Runs one console command on InWorld (null: the engine's own commands only). The command's output goes to
	 * Ar; returns false when the command was not recognised. The simulated editor documents its commands in
	 * docs/project-format.md.
	 */
	virtual bool Exec(UWorld* InWorld, const std::string& Cmd, FOutputDevice& Ar) = 0;
};

/** The installed engine (GEngine); null without one. */
extern UEngine* GEngine;

namespace Tarnwick::Host
{
/** Installs the engine as GEngine (not owned; null uninstalls). SetEditor installs the editor here too. */
void SetEngine(UEngine* Engine);
}
