// Where a running Python command's output goes: sys.stdout and sys.stderr writes (assembled into lines) and the
// unreal.log functions. Each line goes to the log on LogPython, to the command's LogOutput and to its result
// text, in the order written. One capture is current at a time (the command running); without one, lines only
// go to the log. Game thread only.
#pragma once
#include "Logging.h"
#include "PythonScriptPlugin.h"

#include <string>
#include <string_view>

namespace Tarnwick::Sim::Python
{
extern FLogCategory LogPython;

class FOutputCapture
{
public:
	/** Becomes the current capture for Command until destroyed. */
	explicit FOutputCapture(FPythonCommandEx& Command);
	/** Writes out a partial last line and restores the capture that was current before. */
	~FOutputCapture();
	FOutputCapture(const FOutputCapture&) = delete;
	FOutputCapture& operator=(const FOutputCapture&) = delete;

	/** Text written to sys.stdout (bStdErr false) or sys.stderr: complete lines are emitted, the rest waits. */
	static void Write(std::string_view Text, bool bStdErr);
	/** One message of the given kind (unreal.log, log_warning, log_error, a traceback). */
	static void Message(EPythonLogOutputType Type, std::string_view Text);

private:
	void Emit(EPythonLogOutputType Type, std::string_view Line);
	void FlushPending();

	FPythonCommandEx& Command;
	FOutputCapture* Previous = nullptr;
	std::string PendingOut;
	std::string PendingErr;
};
}
