#include "SimPythonCapture.h"

namespace Tarnwick::Sim::Python
{
FLogCategory LogPython("LogPython");

namespace
{
FOutputCapture* GCurrent = nullptr;

void LogLine(EPythonLogOutputType Type, std::string_view Line)
{
	const std::string Text(Line);
	switch (Type)
	{
	case EPythonLogOutputType::Info: TW_LOG(LogPython, Log, "%s", Text.c_str()); break;
	case EPythonLogOutputType::Warning: TW_LOG(LogPython, Warning, "%s", Text.c_str()); break;
	case EPythonLogOutputType::Error: TW_LOG(LogPython, Error, "%s", Text.c_str()); break;
	}
}

/** Each line of a message goes to the log on its own, as the engine's log shows them. */
void LogMessage(EPythonLogOutputType Type, std::string_view Text)
{
	size_t Start = 0;
	while (Start <= Text.size())
	{
		const size_t End = std::min(Text.find('\n', Start), Text.size());
		LogLine(Type, Text.substr(Start, End - Start));
		if (End == Text.size()) break;
		Start = End + 1;
	}
}
}

FOutputCapture::FOutputCapture(FPythonCommandEx& InCommand) : Command(InCommand), Previous(GCurrent) { GCurrent = this; }

FOutputCapture::~FOutputCapture()
{
	FlushPending();
	GCurrent = Previous;
}

void FOutputCapture::Emit(EPythonLogOutputType Type, std::string_view Line)
{
	LogMessage(Type, Line);
	Command.LogOutput.push_back(FPythonLogOutputEntry{Type, std::string(Line)});
	Command.CommandResult.append(Line);
	Command.CommandResult.push_back('\n');
}

void FOutputCapture::FlushPending()
{
	if (!PendingOut.empty()) Emit(EPythonLogOutputType::Info, PendingOut);
	if (!PendingErr.empty()) Emit(EPythonLogOutputType::Error, PendingErr);
	PendingOut.clear();
	PendingErr.clear();
}

void FOutputCapture::Write(std::string_view Text, bool bStdErr)
{
	const EPythonLogOutputType Type = bStdErr ? EPythonLogOutputType::Error : EPythonLogOutputType::Info;
	if (!GCurrent)
	{
		// Output between commands (while the interpreter starts): the log is all there is.
		while (!Text.empty() && Text.back() == '\n') Text.remove_suffix(1);
		if (!Text.empty()) LogMessage(Type, Text);
		return;
	}
	std::string& Pending = bStdErr ? GCurrent->PendingErr : GCurrent->PendingOut;
	Pending.append(Text);
	size_t Newline;
	while ((Newline = Pending.find('\n')) != std::string::npos)
	{
		const std::string Line = Pending.substr(0, Newline);
		Pending.erase(0, Newline + 1);
		GCurrent->Emit(Type, Line);
	}
}

void FOutputCapture::Message(EPythonLogOutputType Type, std::string_view Text)
{
	if (!GCurrent)
	{
		LogMessage(Type, Text);
		return;
	}
	// What print() left without a line end comes first, so that the result keeps the order things were written.
	GCurrent->FlushPending();
	GCurrent->Emit(Type, Text);
}
}
