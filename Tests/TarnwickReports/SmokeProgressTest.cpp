#include "SmokeProgress.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace Tarnwick::Reports
{
namespace
{
std::string ReadAll(std::FILE* File)
{
	std::fflush(File);
	std::rewind(File);
	std::string Text;
	char Buffer[256];
	for (size_t N; (N = std::fread(Buffer, 1, sizeof(Buffer), File)) > 0;)
	{
		Text.append(Buffer, N);
	}
	return Text;
}

FProgress Running()
{
	FProgress Progress;
	Progress.Index = 2;
	Progress.Count = 5;
	Progress.Name = "arena_ai_chase";
	Progress.SessionSeconds = 3.25;
	Progress.Duration = 6;
	Progress.Frames = 195;
	return Progress;
}
}

TEST(SmokeProgress, TheLineNamesSpecTimeAndFrames)
{
	FProgress Progress = Running();
	EXPECT_EQ(FormatProgressLine(Progress), "[2/5] arena_ai_chase  t=3.25s of 6s  195 frames");
	Progress.Verdict = "FAIL";
	EXPECT_EQ(FormatProgressLine(Progress), "[2/5] arena_ai_chase  t=3.25s of 6s  195 frames  FAIL");
}

TEST(SmokeProgress, SilentWhenNotATerminal)
{
	std::FILE* File = std::tmpfile();
	ASSERT_NE(File, nullptr);
	{
		FProgressLine Line(File);
		EXPECT_FALSE(Line.IsActive());
		Line.Update(Running());
		Line.Done(Running());
	}
	EXPECT_EQ(ReadAll(File), "");
	std::fclose(File);
}

TEST(SmokeProgress, RedrawsInPlaceOnATerminal)
{
	int Master = -1;
	int Slave = -1;
	ASSERT_EQ(openpty(&Master, &Slave, nullptr, nullptr, nullptr), 0);
	std::FILE* Terminal = fdopen(Slave, "w");
	ASSERT_NE(Terminal, nullptr);
	{
		FProgressLine Line(Terminal);
		EXPECT_TRUE(Line.IsActive());
		Line.Update(Running());
		FProgress Done = Running();
		Done.SessionSeconds = 6;
		Done.Frames = 361;
		Done.Verdict = "FAIL";
		Line.Done(Done);
	}
	std::fclose(Terminal);
	std::string Seen;
	char Buffer[512];
	for (ssize_t N; (N = read(Master, Buffer, sizeof(Buffer))) > 0;)
	{
		Seen.append(Buffer, static_cast<size_t>(N));
		if (Seen.find("FAIL") != std::string::npos && Seen.back() == '\n')
		{
			break;
		}
	}
	close(Master);
	// The terminal turns "\n" into "\r\n" on output.
	EXPECT_EQ(Seen, "\r[2/5] arena_ai_chase  t=3.25s of 6s  195 frames\x1b[K\r[2/5] arena_ai_chase  t=6.00s of 6s  361 frames  FAIL\x1b[K\r\n");
}
}
