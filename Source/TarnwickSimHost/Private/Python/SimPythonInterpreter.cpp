#if TARNWICK_WITH_PYTHON
#include "Python/SimPythonEmbed.h"
#endif

#include "Python/SimPythonInterpreter.h"

#include "Python/SimPythonCapture.h"

#include <chrono>

#if TARNWICK_WITH_PYTHON
extern "C" PyObject* PyInit_unreal();
#endif

namespace Tarnwick::Sim::Python
{
namespace
{
void FailWithoutRunning(FPythonCommandEx& Command, const std::string& Why)
{
	FOutputCapture Capture(Command);
	FOutputCapture::Message(EPythonLogOutputType::Error, Why);
}
}

#if TARNWICK_WITH_PYTHON
namespace
{
enum class EStartState
{
	NotStarted,
	Running,
	Failed,
};
EStartState GState = EStartState::NotStarted;
std::string GStartError;

// sys.stdout and sys.stderr become writers into the current command's capture.
const char* const StreamsSource = R"PY(
import sys
import unreal


class _UnrealStream:
    def __init__(self, is_error):
        self._is_error = is_error

    def write(self, text):
        unreal._write(str(text), self._is_error)
        return len(text)

    def flush(self):
        pass

    def isatty(self):
        return False

    @property
    def encoding(self):
        return "utf-8"


sys.stdout = _UnrealStream(False)
sys.stderr = _UnrealStream(True)
)PY";

/** The pending exception as the traceback module prints it (without the last line break); clears it. */
std::string TakeExceptionText()
{
	PyObject* Type = nullptr;
	PyObject* Value = nullptr;
	PyObject* Trace = nullptr;
	PyErr_Fetch(&Type, &Value, &Trace);
	PyErr_NormalizeException(&Type, &Value, &Trace);
	if (Value && Trace) PyException_SetTraceback(Value, Trace);
	std::string Text;
	if (PyObject* Module = PyImport_ImportModule("traceback"))
	{
		if (PyObject* Lines = PyObject_CallMethod(Module, "format_exception", "OOO", Type ? Type : Py_None, Value ? Value : Py_None,
				Trace ? Trace : Py_None))
		{
			const Py_ssize_t N = PySequence_Size(Lines);
			for (Py_ssize_t I = 0; I < N; ++I)
			{
				PyObject* Line = PySequence_GetItem(Lines, I);
				Text += ToUtf8(Line);
				Py_XDECREF(Line);
			}
			Py_DECREF(Lines);
		}
		Py_DECREF(Module);
	}
	if (Text.empty()) Text = Value ? ToUtf8(Value) : std::string("unknown Python error");
	PyErr_Clear();
	Py_XDECREF(Type);
	Py_XDECREF(Value);
	Py_XDECREF(Trace);
	while (!Text.empty() && Text.back() == '\n') Text.pop_back();
	return Text;
}

/** Lets tracebacks quote the command's own lines. */
void RememberSource(const std::string& Source, const char* FileName)
{
	PyObject* Linecache = PyImport_ImportModule("linecache");
	if (!Linecache)
	{
		PyErr_Clear();
		return;
	}
	PyObject* Cache = PyObject_GetAttrString(Linecache, "cache");
	PyObject* Text = PyUnicode_DecodeUTF8(Source.data(), static_cast<Py_ssize_t>(Source.size()), "replace");
	PyObject* Lines = Text ? PyObject_CallMethod(Text, "splitlines", "O", Py_True) : nullptr;
	PyObject* Entry = Lines ? Py_BuildValue("(nOOs)", static_cast<Py_ssize_t>(Source.size()), Py_None, Lines, FileName) : nullptr;
	if (Cache && Entry) PyDict_SetItemString(Cache, FileName, Entry);
	Py_XDECREF(Entry);
	Py_XDECREF(Lines);
	Py_XDECREF(Text);
	Py_XDECREF(Cache);
	Py_DECREF(Linecache);
	PyErr_Clear();
}

int StartMode(EPythonCommandExecutionMode Mode)
{
	switch (Mode)
	{
	case EPythonCommandExecutionMode::ExecuteStatement: return Py_single_input;
	case EPythonCommandExecutionMode::EvaluateStatement: return Py_eval_input;
	case EPythonCommandExecutionMode::ExecuteFile: break;
	}
	return Py_file_input;
}
}

bool IsAvailable() { return true; }
bool IsStarted() { return GState == EStartState::Running; }

bool Start(std::string* OutError)
{
	if (GState == EStartState::Running) return true;
	if (GState == EStartState::Failed)
	{
		if (OutError) *OutError = GStartError;
		return false;
	}
	const auto Begin = std::chrono::steady_clock::now();
	auto Fail = [&](std::string Why) {
		GState = EStartState::Failed;
		GStartError = std::move(Why);
		TW_LOG(LogPython, Error, "Python failed to start: %s", GStartError.c_str());
		if (OutError) *OutError = GStartError;
		return false;
	};
	if (PyImport_AppendInittab("unreal", &PyInit_unreal) < 0) return Fail("could not register the unreal module");
	// Isolated: no environment variables, no user site, no current directory on the path; the system's own
	// Python installation, whatever interpreter the shell would find first.
	PyConfig Config;
	PyConfig_InitIsolatedConfig(&Config);
	Config.install_signal_handlers = 0;
	Config.site_import = 0;
	Config.write_bytecode = 0;
	PyStatus Status = PyConfig_SetBytesString(&Config, &Config.home, TARNWICK_PYTHON_HOME);
	if (!PyStatus_Exception(Status)) Status = PyConfig_SetBytesString(&Config, &Config.program_name, "tarnwick");
	if (!PyStatus_Exception(Status)) Status = Py_InitializeFromConfig(&Config);
	PyConfig_Clear(&Config);
	if (PyStatus_Exception(Status)) return Fail(Status.err_msg ? Status.err_msg : "Py_InitializeFromConfig failed");

	PyObject* Main = PyImport_AddModule("__main__");
	PyObject* Globals = Main ? PyModule_GetDict(Main) : nullptr;
	PyObject* Ran = Globals ? PyRun_String(StreamsSource, Py_file_input, Globals, Globals) : nullptr;
	if (!Ran)
	{
		const std::string Why = PyErr_Occurred() ? TakeExceptionText() : "no __main__ module";
		PyEval_SaveThread();
		return Fail(Why);
	}
	Py_DECREF(Ran);
	const double Ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - Begin).count();
	std::string Version = Py_GetVersion();
	Version = Version.substr(0, Version.find(' '));
	// The game thread may not be the thread that started the interpreter: commands take the lock themselves.
	PyEval_SaveThread();
	GState = EStartState::Running;
	TW_LOG(LogPython, Display, "Using Python %s (started in %.1f ms)", Version.c_str(), Ms);
	return true;
}

bool Run(FPythonCommandEx& Command)
{
	Command.CommandResult.clear();
	Command.LogOutput.clear();
	std::string Error;
	if (!Start(&Error))
	{
		FailWithoutRunning(Command, "Python failed to start: " + Error);
		return false;
	}
	const PyGILState_STATE Gil = PyGILState_Ensure();
	bool bOk = false;
	std::string Repr;
	{
		FOutputCapture Capture(Command);
		constexpr const char* FileName = "<string>";
		RememberSource(Command.Command, FileName);
		PyObject* Globals = PyDict_New();
		PyDict_SetItemString(Globals, "__builtins__", PyEval_GetBuiltins());
		PyObject* Name = PyUnicode_FromString("__main__");
		PyDict_SetItemString(Globals, "__name__", Name);
		Py_DECREF(Name);
		PyObject* Code = Py_CompileString(Command.Command.c_str(), FileName, StartMode(Command.ExecutionMode));
		PyObject* Result = Code ? PyEval_EvalCode(Code, Globals, Globals) : nullptr;
		bOk = Result != nullptr;
		if (bOk && Command.ExecutionMode == EPythonCommandExecutionMode::EvaluateStatement)
		{
			PyObject* R = PyObject_Repr(Result);
			Repr = R ? ToUtf8(R) : std::string();
			Py_XDECREF(R);
			PyErr_Clear();
		}
		if (!bOk) FOutputCapture::Message(EPythonLogOutputType::Error, TakeExceptionText());
		Py_XDECREF(Result);
		Py_XDECREF(Code);
		// Objects the script made die with its globals, now, not at some later collection.
		PyDict_Clear(Globals);
		Py_DECREF(Globals);
	}
	PyGILState_Release(Gil);
	if (bOk && Command.ExecutionMode == EPythonCommandExecutionMode::EvaluateStatement) Command.CommandResult = Repr;
	return bOk;
}
#else
namespace
{
constexpr const char* NotAvailable = "Python not available in this build.";
}

bool IsAvailable() { return false; }
bool IsStarted() { return false; }

bool Start(std::string* OutError)
{
	if (OutError) *OutError = NotAvailable;
	return false;
}

bool Run(FPythonCommandEx& Command)
{
	Command.CommandResult.clear();
	Command.LogOutput.clear();
	FailWithoutRunning(Command, NotAvailable);
	// Without an interpreter the result is the plain statement, as the plug-in reports it.
	Command.CommandResult = NotAvailable;
	return false;
}
#endif
}
