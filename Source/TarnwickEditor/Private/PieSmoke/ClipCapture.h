// The clip of capture_pie_movement_clip: where its frames go, when a frame is due, and what a grab did to the
// clip's counters. The first frame is grabbed on the first ticking pass after the clock starts, later ones
// whenever capture_interval session seconds have passed since the previous grab; a viewport that never becomes
// readable defers capture for the rest of the session instead of failing it.
//
// The directory rules and the bookkeeping are pure; CaptureFrameIfDue reads the PIE viewport. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSession.h"

#include <optional>
#include <string>

class UWorld;

namespace Tarnwick::PieSmoke
{
/** The default output folder, relative to the project, before its "/<timestamp>". */
inline constexpr const char* DefaultClipFolder = "Saved/Screenshots/Tarnwick/PieClip";

struct FOutputDirectory
{
	/** Absolute, with a trailing '/'; empty on failure. */
	std::string Directory;
	std::string Error;
};

/**
 * Resolves output_path against the project: absent (empty) is the default folder with LocalStamp appended; a
 * virtual package path ("/Game/...") is its content folder on disk; any other relative path is relative to the
 * project. A path starting with '/' whose first element is a folder of the file system's root is taken as an
 * absolute disk path (absolute paths start with '/' here). Does not touch the disk beyond that check.
 */
FOutputDirectory ResolveOutputDirectory(const std::string& OutputPath, const std::string& ProjectDir, const std::string& LocalStamp);

/** ResolveOutputDirectory, then creates the directory tree; the error names both paths on failure. */
FOutputDirectory ResolveAndCreateOutputDirectory(const std::string& OutputPath, const std::string& LocalStamp);

/** Whether a frame is due at session time T. */
bool IsCaptureDue(const FClipState& Clip, double T);

/** What one grab did. */
struct FFrameGrab
{
	bool bSaved = false;
	bool bUniform = false;
};

/** Folds a grab into the clip; true when this grab made the clip defer (the caller warns once). */
bool RecordGrab(FClipState& Clip, const FFrameGrab& Grab, double T, const std::string& Path);

/** The file name of the frame with this index: "frame_%03d.png". */
std::string FrameFileName(int32 FrameIndex);

/** Per-session step: fires before_capture once before the first grab, grabs when due, records the result. */
void CaptureFrameIfDue(FPieSmokeSession& Session, UWorld& World, double T);
}
