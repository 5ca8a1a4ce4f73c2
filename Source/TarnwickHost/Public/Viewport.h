// Viewports: the engine's FViewport and FEditorViewportClient (the level editor's viewports) and the PIE
// game viewport.
//
// A level viewport client owns a camera (perspective or one of the orthographic views), a field of view,
// realtime and game-view flags and a view mode; its FViewport has a pixel size, 0 by 0 while the viewport is
// not shown, and the pixels of the frame it last drew. Implemented by the host; game thread only.
#pragma once
#include "Color.h"
#include "HostTypes.h"
#include "MathTypes.h"

#include <string>
#include <vector>

struct FIntPoint
{
	int32 X = 0;
	int32 Y = 0;
	bool operator==(const FIntPoint&) const = default;
};

namespace ELevelViewportType
{
/** The engine's viewport types; every one but LVT_Perspective is orthographic. */
enum Type : uint8
{
	LVT_OrthoXY = 0,
	LVT_OrthoXZ = 1,
	LVT_OrthoYZ = 2,
	LVT_Perspective = 3,
	LVT_OrthoFreelook = 4,
	LVT_OrthoNegativeXY = 5,
	LVT_OrthoNegativeXZ = 6,
	LVT_OrthoNegativeYZ = 7,
};
}

namespace EViewModeIndex
{
/** The engine's view-mode indices (the values that matter to the editor actions). */
enum Type : int32
{
	VMI_BrushWireframe = 0,
	VMI_Wireframe = 1,
	VMI_Unlit = 2,
	VMI_Lit = 3,
	VMI_Lit_DetailLighting = 4,
	VMI_LightingOnly = 5,
	VMI_LightComplexity = 6,
	VMI_ShaderComplexity = 8,
	VMI_LightmapDensity = 9,
	VMI_LitLightmapDensity = 10,
	VMI_ReflectionOverride = 11,
	VMI_VisualizeBuffer = 12,
	VMI_StationaryLightOverlap = 14,
	VMI_CollisionPawn = 15,
	VMI_CollisionVisibility = 16,
	VMI_LODColoration = 18,
	VMI_QuadOverdraw = 19,
};
}

class FViewport
{
public:
	virtual ~FViewport() = default;
	/** Size in pixels; 0 by 0 when the viewport is not visible. */
	virtual FIntPoint GetSizeXY() const = 0;
	/** Marks the viewport for redraw on the next frame. */
	virtual void Invalidate() = 0;
	/**
	 * Reads back the frame the viewport last drew: BGRA8 pixels, rows top to bottom, as many as its render target
	 * holds (the size it was drawn at, which lags a resize by one draw). A viewport that was never drawn reads back
	 * black. Waits for the render thread, as the engine's read-back does; callers that need the latest frame flush
	 * rendering commands first. False, with OutImageData empty, when the viewport has no size.
	 */
	virtual bool ReadPixels(std::vector<FColor>& OutImageData) = 0;
};

class FEditorViewportClient
{
public:
	virtual ~FEditorViewportClient() = default;
	/** The viewport the client draws into; null while it has none. */
	virtual FViewport* GetViewport() const = 0;
	virtual ELevelViewportType::Type GetViewportType() const = 0;
	virtual void SetViewportType(ELevelViewportType::Type Type) = 0;
	bool IsPerspective() const { return GetViewportType() == ELevelViewportType::LVT_Perspective; }
	/** The camera of the current view type (perspective or orthographic transforms are kept apart). */
	virtual FVector GetViewLocation() const = 0;
	virtual void SetViewLocation(const FVector& Location) = 0;
	virtual FRotator GetViewRotation() const = 0;
	virtual void SetViewRotation(const FRotator& Rotation) = 0;
	/** Horizontal field of view in degrees (the engine's ViewFOV); orthographic views ignore it. */
	virtual float GetViewFOV() const = 0;
	virtual void SetViewFOV(float FOV) = 0;
	virtual bool IsRealtime() const = 0;
	virtual void SetRealtime(bool bRealtime) = 0;
	virtual bool IsInGameView() const = 0;
	virtual void SetGameView(bool bGameView) = 0;
	virtual int32 GetViewModeIndex() const = 0;
	virtual void SetViewModeIndex(int32 ViewModeIndex) = 0;
	/** Asks for a redraw of the client's viewport. */
	virtual void Invalidate() = 0;
};
