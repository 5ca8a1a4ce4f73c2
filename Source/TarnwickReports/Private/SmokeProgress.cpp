#include "SmokeProgress.h"

#include "Printf.h"

#include <unistd.h>

namespace Tarnwick::Reports
{
std::string FormatProgressLine(const FProgress& Progress)
{
	std::string Line = Printf("[%zu/%zu] %s  t=%.2fs of %gs  %llu frames", Progress.Index, Progress.Count, Progress.Name.c_str(),
		Progress.SessionSeconds, Progress.Duration, static_cast<unsigned long long>(Progress.Frames));
	if (!Progress.Verdict.empty())
	{
		Line += "  " + Progress.Verdict;
	}
	return Line;
}

FProgressLine::FProgressLine(std::FILE* InStream) : FProgressLine(InStream, InStream && isatty(fileno(InStream)) == 1)
{
}

FProgressLine::FProgressLine(std::FILE* InStream, bool bInActive) : Stream(InStream), bActive(bInActive && InStream)
{
}

FProgressLine::~FProgressLine()
{
	Clear();
}

void FProgressLine::Update(const FProgress& Progress)
{
	if (!bActive)
	{
		return;
	}
	// Carriage return, the line, then erase whatever a longer earlier line left to the right.
	std::fprintf(Stream, "\r%s\x1b[K", FormatProgressLine(Progress).c_str());
	std::fflush(Stream);
	bDrawn = true;
}

void FProgressLine::Done(const FProgress& Progress)
{
	if (!bActive)
	{
		return;
	}
	std::fprintf(Stream, "\r%s\x1b[K\n", FormatProgressLine(Progress).c_str());
	std::fflush(Stream);
	bDrawn = false;
}

void FProgressLine::Clear()
{
	if (bActive && bDrawn)
	{
		std::fputs("\r\x1b[K", Stream);
		std::fflush(Stream);
		bDrawn = false;
	}
}
}
