// The editor's Python plug-in, the engine's IPythonScriptPlugin (module "PythonScriptPlugin").
//
// Get() is null when the plug-in module is not loaded (the project does not enable it). A loaded plug-in may
// still have no interpreter (a build without Python): IsPythonAvailable() is then false and every command fails.
// A command runs on the game thread and returns when the script has finished; what it printed and logged, and
// the exception text when it raised, come back in the command.
//
// The host installs its plug-in with SetPythonScriptPlugin. Game thread only.
#pragma once
#include "HostTypes.h"

#include <string>
#include <vector>

/** How the command text is run (the engine's EPythonCommandExecutionMode). */
enum class EPythonCommandExecutionMode : uint8
{
	/** The text is a script (several statements); the default. */
	ExecuteFile,
	/** The text is one statement, run as at the interactive prompt (an expression's value is printed). */
	ExecuteStatement,
	/** The text is one expression; its value's repr is the result. */
	EvaluateStatement,
};

/** The kind of one line of output (the engine's EPythonLogOutputType). */
enum class EPythonLogOutputType : uint8
{
	Info,
	Warning,
	Error,
};

struct FPythonLogOutputEntry
{
	EPythonLogOutputType Type = EPythonLogOutputType::Info;
	std::string Output;
};

/** One command and what came of it (the engine's FPythonCommandEx). */
struct FPythonCommandEx
{
	std::string Command;
	EPythonCommandExecutionMode ExecutionMode = EPythonCommandExecutionMode::ExecuteFile;
	/**
	 * Set by the plug-in. ExecuteFile and ExecuteStatement: everything the command wrote (print, stderr, the
	 * unreal.log functions), followed by the exception's traceback when it raised. EvaluateStatement: the repr
	 * of the value, or the traceback.
	 */
	std::string CommandResult;
	/** Set by the plug-in: each line written, in order, with its kind. */
	std::vector<FPythonLogOutputEntry> LogOutput;
};

class IPythonScriptPlugin
{
public:
	virtual ~IPythonScriptPlugin() = default;

	/** The loaded plug-in, or null when the module is not loaded. */
	static IPythonScriptPlugin* Get();

	/** Whether this build has a Python interpreter. */
	virtual bool IsPythonAvailable() const = 0;
	/** Runs Command as a script; true when it ran without raising. */
	virtual bool ExecPythonCommand(const std::string& Command) = 0;
	/** Runs InOutCommand.Command in its execution mode and fills in its result; true when it did not raise. */
	virtual bool ExecPythonCommandEx(FPythonCommandEx& InOutCommand) = 0;
};

namespace Tarnwick::Host
{
/** Installs the plug-in (not owned; null unloads it). */
void SetPythonScriptPlugin(IPythonScriptPlugin* Plugin);
}
