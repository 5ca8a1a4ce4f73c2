#include "SimPythonPlugin.h"

#include "Logging.h"

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogPython("LogPython");
constexpr const char* NotAvailable = "Python not available in this build.";
}

bool IsPythonPluginEnabled(const std::vector<std::pair<std::string, bool>>& Plugins)
{
	for (const auto& [Name, bEnabled] : Plugins)
	{
		if (Name == "PythonScriptPlugin") return bEnabled;
	}
	return false;
}

bool FSimPythonPlugin::IsPythonAvailable() const { return false; }

bool FSimPythonPlugin::ExecPythonCommand(const std::string& Command)
{
	FPythonCommandEx Ex;
	Ex.Command = Command;
	return ExecPythonCommandEx(Ex);
}

bool FSimPythonPlugin::ExecPythonCommandEx(FPythonCommandEx& InOutCommand)
{
	InOutCommand.LogOutput.clear();
	InOutCommand.CommandResult = NotAvailable;
	InOutCommand.LogOutput.push_back(FPythonLogOutputEntry{EPythonLogOutputType::Error, NotAvailable});
	TW_LOG(LogPython, Error, "%s", NotAvailable);
	return false;
}
}
