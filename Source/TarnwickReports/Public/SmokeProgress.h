// The progress line of a smoke suite on a terminal: which spec runs, its session time and frames, redrawn in
// place. A suite run by CI writes to a pipe or a file, where a line redrawn sixty times a second is noise, so
// the line stays silent unless its stream is a terminal.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

namespace Tarnwick::Reports
{
struct FProgress
{
	/** 1-based position of the spec in the suite, and the suite's size. */
	size_t Index = 1;
	size_t Count = 1;
	std::string Name;
	double SessionSeconds = 0.0;
	double Duration = 0.0;
	uint64_t Frames = 0;
	/** Empty while running; the verdict word once the spec is done ("PASS", "FAIL", "REFUSED", ...). */
	std::string Verdict;
};

/** "[2/5] arena_ai_chase  t=3.25s of 6s  195 frames", with "  FAIL" appended once a verdict is known. */
std::string FormatProgressLine(const FProgress& Progress);

class FProgressLine
{
public:
	/** Active only when Stream is a terminal. */
	explicit FProgressLine(std::FILE* Stream);
	/** Forces the choice (for a caller that knows better, and for tests). */
	FProgressLine(std::FILE* Stream, bool bActive);
	~FProgressLine();
	FProgressLine(const FProgressLine&) = delete;
	FProgressLine& operator=(const FProgressLine&) = delete;

	bool IsActive() const { return bActive; }
	/** Redraws the line in place. */
	void Update(const FProgress& Progress);
	/** Leaves the spec's final line on screen and moves to the next line. */
	void Done(const FProgress& Progress);
	/** Clears a line still being drawn (nothing when the last call was Done). */
	void Clear();

private:
	std::FILE* Stream;
	bool bActive;
	bool bDrawn = false;
};
}
