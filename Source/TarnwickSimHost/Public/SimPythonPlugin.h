// The simulated editor's Python plug-in (module "PythonScriptPlugin"). The editor loads it when the project
// enables the plug-in; Get() is null otherwise.
#pragma once
#include "PythonScriptPlugin.h"

namespace Tarnwick::Sim
{
class FSimPythonPlugin final : public IPythonScriptPlugin
{
public:
	bool IsPythonAvailable() const override;
	bool ExecPythonCommand(const std::string& Command) override;
	bool ExecPythonCommandEx(FPythonCommandEx& InOutCommand) override;

	/** Starts the interpreter now rather than on the first command; false (and logged) when it cannot start. */
	bool StartInterpreter();
};

/** Whether a project's plug-in list enables the Python plug-in. */
bool IsPythonPluginEnabled(const std::vector<std::pair<std::string, bool>>& Plugins);
}
