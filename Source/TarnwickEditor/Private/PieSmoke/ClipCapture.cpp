#include "PieSmoke/ClipCapture.h"

#include "Editor.h"
#include "ImageUtils.h"
#include "Paths.h"
#include "PieSmoke/ScriptRunner.h"
#include "Printf.h"
#include "RenderingThread.h"
#include "TarnwickLog.h"
#include "UObjectGlobals.h"
#include "Viewport.h"

#include <filesystem>

namespace Tarnwick::PieSmoke
{
namespace
{
std::string WithTrailingSlash(std::string Path)
{
	if (Path.empty() || Path.back() != '/') Path += '/';
	return Path;
}

std::string Normalized(const std::filesystem::path& Path)
{
	return WithTrailingSlash(Path.lexically_normal().generic_string());
}

/** True when the first element of an absolute path is a folder of the file system's root ("/tmp/x"). */
bool IsDiskAbsolute(const std::string& Path)
{
	const size_t End = Path.find('/', 1);
	const std::string First = Path.substr(0, End);
	std::error_code Ec;
	return First.size() > 1 && std::filesystem::is_directory(First, Ec);
}

/** The grab itself: the PIE viewport's pixels, made opaque, to a PNG. */
FFrameGrab GrabPieViewport(const std::string& Path, bool bFirst)
{
	FFrameGrab Grab;
	FViewport* Viewport = GEditor ? GEditor->GetGameViewport() : nullptr;
	if (!Viewport) return Grab;
	const FIntPoint Size = Viewport->GetSizeXY();
	if (Size.X <= 0 || Size.Y <= 0) return Grab;
	// The first read must see a rendered frame, not whatever the render target held before PIE drew.
	if (bFirst) FlushRenderingCommands();
	std::vector<FColor> Pixels;
	const size_t Expected = static_cast<size_t>(Size.X) * static_cast<size_t>(Size.Y);
	if (!Viewport->ReadPixels(Pixels) || Pixels.size() < Expected) return Grab;
	Pixels.resize(Expected);
	const FColor First = Pixels.front();
	Grab.bUniform = true;
	for (FColor& Pixel : Pixels)
	{
		if (!Pixel.EqualsRGB(First)) Grab.bUniform = false;
		Pixel.A = 255;
	}
	Grab.bSaved = FImageUtils::SaveImageByExtension(Path, FImageView(Pixels, Size.X, Size.Y));
	return Grab;
}
}

FOutputDirectory ResolveOutputDirectory(const std::string& OutputPath, const std::string& ProjectDir, const std::string& LocalStamp)
{
	FOutputDirectory Out;
	const std::filesystem::path Project(ProjectDir);
	if (OutputPath.empty())
	{
		Out.Directory = Normalized(Project / DefaultClipFolder / LocalStamp);
		return Out;
	}
	if (OutputPath.front() == '/' && !IsDiskAbsolute(OutputPath))
	{
		const std::string Virtual = WithTrailingSlash(OutputPath);
		std::string Directory;
		if (!FPackageName::TryConvertLongPackageFolderToDirectory(Virtual, Directory))
		{
			Out.Error = Tarnwick::Printf("Could not convert virtual path '%s' to an on-disk directory (no content root mounted for that prefix).",
				Virtual.c_str());
			return Out;
		}
		Out.Directory = Normalized(Directory);
		return Out;
	}
	const std::filesystem::path Given(OutputPath);
	Out.Directory = Normalized(Given.is_absolute() ? Given : Project / Given);
	return Out;
}

FOutputDirectory ResolveAndCreateOutputDirectory(const std::string& OutputPath, const std::string& LocalStamp)
{
	FOutputDirectory Out = ResolveOutputDirectory(OutputPath, FPaths::ProjectDir(), LocalStamp);
	if (!Out.Error.empty()) return Out;
	std::error_code Ec;
	std::filesystem::create_directories(Out.Directory, Ec);
	if (Ec || !std::filesystem::is_directory(Out.Directory, Ec))
	{
		Out.Error = Tarnwick::Printf("Could not create capture output directory '%s' (resolved from '%s').", Out.Directory.c_str(),
			OutputPath.empty() ? DefaultClipFolder : OutputPath.c_str());
		Out.Directory.clear();
	}
	return Out;
}

bool IsCaptureDue(const FClipState& Clip, double T)
{
	if (!Clip.bIsClip || Clip.bDeferred) return false;
	return Clip.Frames.empty() || T - Clip.LastCaptureTime >= Clip.CaptureInterval;
}

bool RecordGrab(FClipState& Clip, const FFrameGrab& Grab, double T, const std::string& Path)
{
	if (!Grab.bSaved)
	{
		// A viewport that is still not readable well after the first frame was due will not become so.
		if (Clip.FrameIndex == 0 && T > 2.0 * Clip.CaptureInterval)
		{
			Clip.bDeferred = true;
			return true;
		}
		return false;
	}
	FClipFrame Frame;
	Frame.Index = Clip.FrameIndex;
	Frame.Path = Path;
	Frame.SessionSeconds = T;
	Frame.bUniform = Grab.bUniform;
	Frame.bCounted = Clip.FrameIndex >= Clip.DiscardFirstFrames;
	if (Frame.bCounted)
	{
		if (Grab.bUniform) ++Clip.InvalidFrames;
		else ++Clip.ValidFrames;
	}
	Clip.Frames.push_back(std::move(Frame));
	Clip.LastCaptureTime = T;
	++Clip.FrameIndex;
	return false;
}

std::string FrameFileName(int32 FrameIndex)
{
	return Tarnwick::Printf("frame_%03d.png", FrameIndex);
}

void CaptureFrameIfDue(FPieSmokeSession& Session, UWorld& World, double T)
{
	FClipState& Clip = Session.Clip;
	if (!IsCaptureDue(Clip, T)) return;
	FStage& BeforeCapture = Session.Spec.Stages.BeforeCapture;
	if (Clip.Frames.empty() && BeforeCapture.bPresent && !BeforeCapture.bFired)
	{
		BeforeCapture.bFired = true;
		BeforeCapture.FiredAt = T;
		BeforeCapture.Outcome = RunScripts(BeforeCapture.Script, &World);
	}
	const std::string Path = Clip.OutputDir + FrameFileName(Clip.FrameIndex);
	const FFrameGrab Grab = GrabPieViewport(Path, Clip.FrameIndex == 0);
	if (RecordGrab(Clip, Grab, T, Path))
	{
		TW_LOG(LogTarnwick, Warning, "capture_pie_movement_clip: PIE viewport unavailable for session %s — capture deferred.", Session.Id.c_str());
	}
}
}
