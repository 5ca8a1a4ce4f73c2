// The simulated level-editor viewports and the PIE game viewport: sizes, cameras and display flags. A draw
// captures what the view shows (SimRenderScene) as the viewport's drawn frame; reading the pixels back
// rasterises that frame on the render thread, once. A viewport counts its draws, and a size change makes the
// render thread reallocate its render targets, logged as the engine logs it. Game thread only.
#pragma once
#include "SimRenderer.h"
#include "Viewport.h"

#include <memory>
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

private:
	std::shared_ptr<FSimDrawnFrame> DrawnFrame;
};

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

/** The engine's display name of a view mode ("Lit", "Wireframe"); "Unknown" otherwise. */
const char* ViewModeDisplayName(int32 ViewModeIndex);
}
