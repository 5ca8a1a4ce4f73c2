// The simulated level-editor viewports and the PIE game viewport: sizes, cameras and display flags. A draw
// captures what the view shows (SimRenderScene) as the viewport's drawn frame; reading the pixels back
// rasterises that frame on the render thread, once. A viewport counts its draws, and a size change makes the
// render thread reallocate its render targets, logged as the engine logs it. Game thread only.
#pragma once
#include "GameViewport.h"
#include "SimRenderer.h"
#include "Viewport.h"

#include <map>
#include <memory>
#include <set>
#include <string>

namespace Tarnwick::Sim
{
/** A frame as drawn: the view captured at draw time, and its pixels once a read-back has rasterised it. */
struct FSimDrawnFrame
{
	FSimRenderFrame Frame;
	// Written by the render thread, read after a flush.
	std::vector<FColor> Pixels;
	bool bRasterized = false;
};

class FSimViewport final : public FViewport
{
public:
	FIntPoint GetSizeXY() const override { return Size; }
	void Invalidate() override { bInvalidated = true; }
	bool ReadPixels(std::vector<FColor>& OutImageData) override;

	/** Changes the size; the next draw reallocates render targets. */
	void Resize(FIntPoint NewSize);
	/** The frame to fill for this draw (the previous one's storage when no read-back still holds it). */
	FSimRenderFrame& BeginDrawnFrame();
	/** The last drawn frame; null before the first draw. */
	const std::shared_ptr<FSimDrawnFrame>& GetDrawnFrame() const { return DrawnFrame; }

	FIntPoint Size;
	FIntPoint AllocatedSize;
	bool bInvalidated = true;
	uint64 DrawCount = 0;
	/** Show flags switched away from their defaults by "showflag.<Name> 0|1" (lower-case names). */
	std::map<std::string, bool> ShowFlags;
	/** Stat groups shown by "stat <group>" (lower-case names). */
	std::set<std::string> Stats;
	/** The game viewport's view mode ("viewmode"); level viewport clients keep their own. */
	int32 ViewModeIndex = 3;

private:
	std::shared_ptr<FSimDrawnFrame> DrawnFrame;
};

/** The engine's show flags the console knows, with their defaults in a game viewport. */
bool FindShowFlag(const std::string& Name, std::string& OutCanonical, bool& OutDefault);
/** The view mode named by the console's "viewmode <name>" (lit, unlit, wireframe, ...); false for others. */
bool FindViewModeByConsoleName(const std::string& Name, int32& OutIndex);

class FSimLevelViewportClient final : public FEditorViewportClient
{
public:
	FSimLevelViewportClient(int32 InIndex, ELevelViewportType::Type InType, FIntPoint Size);

	FViewport* GetViewport() const override { return const_cast<FSimViewport*>(&Viewport); }
	ELevelViewportType::Type GetViewportType() const override { return Type; }
	void SetViewportType(ELevelViewportType::Type InType) override;
	FVector GetViewLocation() const override;
	void SetViewLocation(const FVector& Location) override;
	FRotator GetViewRotation() const override;
	void SetViewRotation(const FRotator& Rotation) override;
	float GetViewFOV() const override { return ViewFOV; }
	void SetViewFOV(float FOV) override;
	bool IsRealtime() const override { return bRealtime; }
	void SetRealtime(bool bInRealtime) override;
	bool IsInGameView() const override { return bGameView; }
	void SetGameView(bool bInGameView) override;
	int32 GetViewModeIndex() const override { return ViewModeIndex; }
	void SetViewModeIndex(int32 InViewModeIndex) override;
	void Invalidate() override { Viewport.Invalidate(); }

	/** Draws when realtime or invalidated (the frame loop's viewport phase); returns whether it drew. */
	bool Draw(uint64 FrameCounter);

	int32 Index = 0;
	FSimViewport Viewport;
	ELevelViewportType::Type Type = ELevelViewportType::LVT_Perspective;
	FVector PerspectiveLocation;
	FRotator PerspectiveRotation;
	FVector OrthoLocation;
	FRotator OrthoRotation;
	float ViewFOV = 90.0f;
	bool bRealtime = true;
	bool bGameView = false;
	int32 ViewModeIndex = 3; // VMI_Lit
};

/**
 * The PIE viewport's client: input into the game goes to the world's first player controller. The mouse
 * starts at the viewport's centre; each move hands the difference on as MouseX (rightwards) and MouseY (upwards).
 */
class FSimGameViewportClient final : public UGameViewportClient
{
public:
	FSimGameViewportClient(FSimViewport& InViewport, UWorld* InWorld);
	FViewport* GetGameViewport() const override { return &Viewport; }
	UWorld* GetWorld() const override { return World; }
	bool InputKey(const FInputKeyParams& Params) override;
	bool MouseMove(int32 X, int32 Y) override;
	FIntPoint GetMousePosition() const override { return Mouse; }

private:
	FSimViewport& Viewport;
	UWorld* World;
	FIntPoint Mouse;
};

/** The engine's display name of a view mode ("Lit", "Wireframe"); "Unknown" otherwise. */
const char* ViewModeDisplayName(int32 ViewModeIndex);
}
