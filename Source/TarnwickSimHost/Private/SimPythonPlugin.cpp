#include "SimPythonPlugin.h"

#include "Python/SimPythonInterpreter.h"

namespace Tarnwick::Sim
{
bool IsPythonPluginEnabled(const std::vector<std::pair<std::string, bool>>& Plugins)
{
	for (const auto& [Name, bEnabled] : Plugins)
	{
		if (Name == "PythonScriptPlugin") return bEnabled;
	}
	return false;
}

bool FSimPythonPlugin::IsPythonAvailable() const { return Python::IsAvailable(); }

bool FSimPythonPlugin::ExecPythonCommand(const std::string& Command)
{
	FPythonCommandEx Ex;
	Ex.Command = Command;
	return ExecPythonCommandEx(Ex);
}

bool FSimPythonPlugin::ExecPythonCommandEx(FPythonCommandEx& InOutCommand) { return Python::Run(InOutCommand); }

bool FSimPythonPlugin::StartInterpreter() { return Python::IsAvailable() && Python::Start(); }
}
