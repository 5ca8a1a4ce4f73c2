// The simulated editor's software renderer: what one view draws (a camera, primitives with a colour, lights and
// a view mode), and the rasteriser that turns it into BGRA8 pixels. Pure: no world, no host, no threads; the
// scene is gathered from a world by SimRenderScene, and the viewports rasterise a drawn frame when it is read.
//
// Depth-buffered, flat-shaded polygons: each polygon gets one colour from its normal and the lights at its
// centre (Lambert), so images are deterministic to the bit. docs/project-format.md documents shapes, colours,
// lights and view modes.
#pragma once
#include "Color.h"
#include "SimRenderMath.h"
#include "SimRenderShapes.h"
#include "Viewport.h"

#include <memory>
#include <vector>

namespace Tarnwick::Sim
{
enum class ESimViewMode : uint8
{
	Lit,
	Unlit,
	Wireframe,
	LightingOnly,
};

/** The renderer's mode for an engine view mode index; modes it does not have draw Lit (bExact false). */
ESimViewMode ViewModeForIndex(int32 ViewModeIndex, bool* bOutExact = nullptr);

struct FSimRenderCamera
{
	FVector Location;
	RenderMath::FAxes Axes;
	/** Horizontal field of view in degrees (perspective). */
	double FOVDegrees = 90.0;
	bool bOrthographic = false;
	/** World units across the image (orthographic). */
	double OrthoWidth = 2048.0;

	static FSimRenderCamera Perspective(const FVector& Location, const FRotator& Rotation, double FOVDegrees);
	static FSimRenderCamera Orthographic(const FVector& Location, const FRotator& Rotation, double OrthoWidth);
};

struct FSimRenderPrimitive
{
	/** The shape; OwnedMesh keeps a mesh made for this primitive (a capsule) alive. */
	const FSimMesh* Mesh = nullptr;
	std::shared_ptr<const FSimMesh> OwnedMesh;
	/** Local mesh space to world space. */
	RenderMath::FAffine ToWorld;
	FColor Color;
};

struct FSimRenderLight
{
	enum class EType : uint8
	{
		Directional,
		Point,
		Spot,
	};
	EType Type = EType::Directional;
	FVector Position;
	/** Unit direction the light travels (directional and spot). */
	FVector Direction{0.0, 0.0, -1.0};
	/** Linear RGB, already scaled by the light's intensity. */
	FVector Color{1.0, 1.0, 1.0};
	/** Point and spot: the attenuation radius. */
	double Radius = 1000.0;
	/** Spot: cosines of the outer and inner cone half-angles. */
	double CosOuter = -1.0;
	double CosInner = -1.0;
};

struct FSimRenderStats
{
	/** One per primitive submitted. */
	int32 DrawCalls = 0;
	/** Triangles of the primitives submitted. */
	int64 PrimitivesDrawn = 0;
};

/** One drawn frame of a view: everything the rasteriser needs, captured at draw time. */
struct FSimRenderFrame
{
	FIntPoint Size;
	/** False when the view had nothing to look through (a game viewport before the player exists): drawn black. */
	bool bHasView = false;
	FSimRenderCamera Camera;
	ESimViewMode ViewMode = ESimViewMode::Lit;
	std::vector<FSimRenderPrimitive> Primitives;
	std::vector<FSimRenderLight> Lights;

	FSimRenderStats GetStats() const;
	void Reset();
};

namespace SimRenderConstants
{
/** Behind everything in the lit, unlit and lighting-only modes. */
constexpr FColor SkyColor(128, 170, 215);
/** Behind the wireframe, and a view with nothing to look through. */
constexpr FColor ClearColor(0, 0, 0);
/** Light every surface receives in the lit modes, whatever faces it. */
constexpr double Ambient = 0.25;
/** The surface colour of the lighting-only mode. */
constexpr double LightingOnlyGrey = 0.5;
/** Perspective views draw nothing nearer than this (centimetres). */
constexpr double NearPlane = 1.0;
}

/** Rasterises the frame into Frame.Size.X x Frame.Size.Y pixels (rows top to bottom, alpha 255). */
void RasterizeFrame(const FSimRenderFrame& Frame, std::vector<FColor>& OutPixels);

/**
 * The pixel a world point lands on (its centre is at X + 0.5, Y + 0.5), and its depth along the view; false when
 * the point is behind the near plane. Shared by the rasteriser and anything that must know where a thing is drawn.
 */
bool ProjectToScreen(const FSimRenderCamera& Camera, FIntPoint Size, const FVector& World, double& OutX, double& OutY, double& OutDepth);
}
