#include "SimRenderer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Tarnwick::Sim
{
using namespace RenderMath;

namespace
{
/** A point in view space: X right, Y up, Z along the view. */
struct FViewVert
{
	double X = 0.0;
	double Y = 0.0;
	double Z = 0.0;
};

/** A point on the screen in pixels, with a depth key that grows towards the viewer. */
struct FScreenVert
{
	double X = 0.0;
	double Y = 0.0;
	double Key = 0.0;
};

FViewVert ToView(const FSimRenderCamera& Camera, const FVector& World)
{
	const FVector D = Sub(World, Camera.Location);
	return FViewVert{Dot(D, Camera.Axes.Y), Dot(D, Camera.Axes.Z), Dot(D, Camera.Axes.X)};
}

struct FProjection
{
	double HalfW = 0.0;
	double HalfH = 0.0;
	/** Pixels per unit of X / Z (perspective) or per world unit (orthographic). */
	double Focal = 0.0;
	bool bOrtho = false;

	FProjection(const FSimRenderCamera& Camera, FIntPoint Size)
		: HalfW(Size.X * 0.5), HalfH(Size.Y * 0.5), bOrtho(Camera.bOrthographic)
	{
		if (bOrtho) Focal = Size.X / std::max(Camera.OrthoWidth, 1e-6);
		else Focal = HalfW / std::tan(DegreesToRadians(std::clamp(Camera.FOVDegrees, 1.0, 179.0)) * 0.5);
	}

	FScreenVert Project(const FViewVert& V) const
	{
		if (bOrtho) return FScreenVert{HalfW + V.X * Focal, HalfH - V.Y * Focal, -V.Z};
		const double InvZ = 1.0 / V.Z;
		return FScreenVert{HalfW + V.X * InvZ * Focal, HalfH - V.Y * InvZ * Focal, InvZ};
	}
};

FViewVert LerpView(const FViewVert& A, const FViewVert& B, double T)
{
	return FViewVert{A.X + (B.X - A.X) * T, A.Y + (B.Y - A.Y) * T, A.Z + (B.Z - A.Z) * T};
}

/** Keeps the part of a convex polygon in front of the near plane; returns the corner count (0..N+1). */
int32 ClipNear(const FViewVert* In, int32 Count, FViewVert* Out)
{
	constexpr double Near = SimRenderConstants::NearPlane;
	int32 N = 0;
	for (int32 I = 0; I < Count; ++I)
	{
		const FViewVert& A = In[I];
		const FViewVert& B = In[(I + 1) % Count];
		const bool bAIn = A.Z >= Near;
		const bool bBIn = B.Z >= Near;
		if (bAIn) Out[N++] = A;
		if (bAIn != bBIn) Out[N++] = LerpView(A, B, (Near - A.Z) / (B.Z - A.Z));
	}
	return N;
}

uint8 ToByte(double V)
{
	return static_cast<uint8>(std::clamp(static_cast<int>(V * 255.0 + 0.5), 0, 255));
}

class FRaster
{
public:
	FRaster(FIntPoint Size, std::vector<FColor>& InPixels, std::vector<float>& InDepth)
		: W(Size.X), H(Size.Y), Pixels(InPixels.data()), Depth(InDepth.data())
	{
	}

	void FillTriangle(FScreenVert A, FScreenVert B, FScreenVert C, FColor Color)
	{
		double Area = EdgeAt(A, B, C.X, C.Y);
		if (!(std::abs(Area) > 0.0)) return;
		if (Area < 0.0)
		{
			std::swap(B, C);
			Area = -Area;
		}
		const int32 MinX = std::max(0, static_cast<int32>(std::floor(std::min({A.X, B.X, C.X}))));
		const int32 MaxX = std::min(W - 1, static_cast<int32>(std::ceil(std::max({A.X, B.X, C.X}))));
		const int32 MinY = std::max(0, static_cast<int32>(std::floor(std::min({A.Y, B.Y, C.Y}))));
		const int32 MaxY = std::min(H - 1, static_cast<int32>(std::ceil(std::max({A.Y, B.Y, C.Y}))));
		if (MinX > MaxX || MinY > MaxY) return;

		// Edge functions at the first pixel centre, and their steps along a row and down a column.
		const double PX = MinX + 0.5, PY = MinY + 0.5;
		double Row0 = EdgeAt(B, C, PX, PY), Row1 = EdgeAt(C, A, PX, PY), Row2 = EdgeAt(A, B, PX, PY);
		const double DX0 = -(C.Y - B.Y), DX1 = -(A.Y - C.Y), DX2 = -(B.Y - A.Y);
		const double DY0 = C.X - B.X, DY1 = A.X - C.X, DY2 = B.X - A.X;
		const double InvArea = 1.0 / Area;
		const double K0 = A.Key * InvArea, K1 = B.Key * InvArea, K2 = C.Key * InvArea;
		for (int32 Y = MinY; Y <= MaxY; ++Y)
		{
			double W0 = Row0, W1 = Row1, W2 = Row2;
			const size_t RowStart = static_cast<size_t>(Y) * static_cast<size_t>(W);
			for (int32 X = MinX; X <= MaxX; ++X)
			{
				if (W0 >= 0.0 && W1 >= 0.0 && W2 >= 0.0)
				{
					const float Key = static_cast<float>(W0 * K0 + W1 * K1 + W2 * K2);
					const size_t I = RowStart + static_cast<size_t>(X);
					if (Key > Depth[I])
					{
						Depth[I] = Key;
						Pixels[I] = Color;
					}
				}
				W0 += DX0;
				W1 += DX1;
				W2 += DX2;
			}
			Row0 += DY0;
			Row1 += DY1;
			Row2 += DY2;
		}
	}

	/** A line of single pixels, clipped to the image; no depth test (the engine's wireframe shows hidden edges). */
	void DrawLine(double X0, double Y0, double X1, double Y1, FColor Color)
	{
		// Liang-Barsky against [0, W) x [0, H).
		double T0 = 0.0, T1 = 1.0;
		const double DX = X1 - X0, DY = Y1 - Y0;
		const double P[4] = {-DX, DX, -DY, DY};
		const double Q[4] = {X0, W - 1e-6 - X0, Y0, H - 1e-6 - Y0};
		for (int32 I = 0; I < 4; ++I)
		{
			if (P[I] == 0.0)
			{
				if (Q[I] < 0.0) return;
				continue;
			}
			const double T = Q[I] / P[I];
			if (P[I] < 0.0) T0 = std::max(T0, T);
			else T1 = std::min(T1, T);
			if (T0 > T1) return;
		}
		const double SX = X0 + DX * T0, SY = Y0 + DY * T0, EX = X0 + DX * T1, EY = Y0 + DY * T1;
		const int32 Steps = std::max(1, static_cast<int32>(std::ceil(std::max(std::abs(EX - SX), std::abs(EY - SY)))));
		for (int32 S = 0; S <= Steps; ++S)
		{
			const double T = static_cast<double>(S) / Steps;
			const int32 X = static_cast<int32>(SX + (EX - SX) * T);
			const int32 Y = static_cast<int32>(SY + (EY - SY) * T);
			if (X >= 0 && X < W && Y >= 0 && Y < H) Pixels[static_cast<size_t>(Y) * static_cast<size_t>(W) + static_cast<size_t>(X)] = Color;
		}
	}

private:
	static double EdgeAt(const FScreenVert& A, const FScreenVert& B, double X, double Y)
	{
		return (B.X - A.X) * (Y - A.Y) - (B.Y - A.Y) * (X - A.X);
	}

	int32 W;
	int32 H;
	FColor* Pixels;
	float* Depth;
};

/** Light arriving at a surface point with normal N, per channel, from the frame's lights. */
FVector LightAt(const FSimRenderFrame& Frame, const FVector& Point, const FVector& N)
{
	FVector Sum;
	for (const FSimRenderLight& L : Frame.Lights)
	{
		double Amount = 0.0;
		if (L.Type == FSimRenderLight::EType::Directional)
		{
			Amount = std::max(0.0, -Dot(N, L.Direction));
		}
		else
		{
			const FVector ToLight = Sub(L.Position, Point);
			const double Distance = Length(ToLight);
			if (Distance >= L.Radius || Distance <= 1e-9) continue;
			const double Ratio = Distance / L.Radius;
			const double Falloff = (1.0 - Ratio * Ratio) * (1.0 - Ratio * Ratio);
			const FVector Dir = Scale(ToLight, 1.0 / Distance);
			Amount = Falloff * std::max(0.0, Dot(N, Dir));
			if (L.Type == FSimRenderLight::EType::Spot)
			{
				const double CosAngle = -Dot(Dir, L.Direction);
				const double Span = L.CosInner - L.CosOuter;
				Amount *= Span > 1e-9 ? std::clamp((CosAngle - L.CosOuter) / Span, 0.0, 1.0) : (CosAngle >= L.CosOuter ? 1.0 : 0.0);
			}
		}
		Sum = Add(Sum, Scale(L.Color, Amount));
	}
	return Sum;
}

FColor Shade(const FSimRenderFrame& Frame, const FVector& Centre, const FVector& N, FColor Albedo)
{
	using namespace SimRenderConstants;
	switch (Frame.ViewMode)
	{
	case ESimViewMode::Unlit:
	case ESimViewMode::Wireframe: return FColor(Albedo.R, Albedo.G, Albedo.B, 255);
	case ESimViewMode::LightingOnly:
	{
		const FVector L = Add(LightAt(Frame, Centre, N), FVector(Ambient, Ambient, Ambient));
		return FColor(ToByte(LightingOnlyGrey * L.X), ToByte(LightingOnlyGrey * L.Y), ToByte(LightingOnlyGrey * L.Z), 255);
	}
	case ESimViewMode::Lit: break;
	}
	const FVector L = Add(LightAt(Frame, Centre, N), FVector(Ambient, Ambient, Ambient));
	return FColor(ToByte(Albedo.R / 255.0 * L.X), ToByte(Albedo.G / 255.0 * L.Y), ToByte(Albedo.B / 255.0 * L.Z), 255);
}

void DrawPrimitive(const FSimRenderFrame& Frame, const FSimRenderPrimitive& Prim, const FProjection& Projection, FRaster& Raster,
	std::vector<FVector>& World, std::vector<FViewVert>& View)
{
	const FSimMesh& Mesh = *Prim.Mesh;
	const FSimRenderCamera& Camera = Frame.Camera;
	const bool bWire = Frame.ViewMode == ESimViewMode::Wireframe;
	World.resize(Mesh.Vertices.size());
	View.resize(Mesh.Vertices.size());
	for (size_t I = 0; I < Mesh.Vertices.size(); ++I)
	{
		World[I] = Prim.ToWorld.TransformPoint(Mesh.Vertices[I]);
		View[I] = ToView(Camera, World[I]);
	}
	const FVector ShapeCentre = Prim.ToWorld.Origin;
	for (const FSimPolygon& Poly : Mesh.Polygons)
	{
		FViewVert Corners[4];
		for (int32 I = 0; I < Poly.Count; ++I) Corners[I] = View[static_cast<size_t>(Poly.Corners[static_cast<size_t>(I)])];
		FViewVert Clipped[5];
		if (bWire)
		{
			for (int32 I = 0; I < Poly.Count; ++I)
			{
				const FViewVert Edge[2] = {Corners[I], Corners[(I + 1) % Poly.Count]};
				FViewVert A = Edge[0], B = Edge[1];
				if (!Projection.bOrtho)
				{
					constexpr double Near = SimRenderConstants::NearPlane;
					if (A.Z < Near && B.Z < Near) continue;
					if (A.Z < Near) A = LerpView(A, B, (Near - A.Z) / (B.Z - A.Z));
					else if (B.Z < Near) B = LerpView(A, B, (Near - A.Z) / (B.Z - A.Z));
				}
				const FScreenVert SA = Projection.Project(A), SB = Projection.Project(B);
				Raster.DrawLine(SA.X, SA.Y, SB.X, SB.Y, FColor(Prim.Color.R, Prim.Color.G, Prim.Color.B, 255));
			}
			continue;
		}

		// Newell's normal copes with quads that are not quite flat.
		FVector Normal, Centre;
		for (int32 I = 0; I < Poly.Count; ++I)
		{
			const FVector& A = World[static_cast<size_t>(Poly.Corners[static_cast<size_t>(I)])];
			const FVector& B = World[static_cast<size_t>(Poly.Corners[static_cast<size_t>((I + 1) % Poly.Count)])];
			Normal.X += (A.Y - B.Y) * (A.Z + B.Z);
			Normal.Y += (A.Z - B.Z) * (A.X + B.X);
			Normal.Z += (A.X - B.X) * (A.Y + B.Y);
			Centre = Add(Centre, A);
		}
		Centre = Scale(Centre, 1.0 / Poly.Count);
		Normal = Normalize(Normal);
		if (Normal == FVector()) continue;
		const FVector ToSurface = Projection.bOrtho ? Camera.Axes.X : Sub(Centre, Camera.Location);
		if (Mesh.bTwoSided)
		{
			if (Dot(Normal, ToSurface) > 0.0) Normal = Scale(Normal, -1.0);
		}
		else
		{
			if (Dot(Normal, Sub(Centre, ShapeCentre)) < 0.0) Normal = Scale(Normal, -1.0);
			if (Dot(Normal, ToSurface) >= 0.0) continue;
		}
		const FColor Color = Shade(Frame, Centre, Normal, Prim.Color);
		const int32 Count = Projection.bOrtho ? Poly.Count : ClipNear(Corners, Poly.Count, Clipped);
		const FViewVert* Source = Projection.bOrtho ? Corners : Clipped;
		if (Count < 3) continue;
		const FScreenVert First = Projection.Project(Source[0]);
		FScreenVert Previous = Projection.Project(Source[1]);
		for (int32 I = 2; I < Count; ++I)
		{
			const FScreenVert Next = Projection.Project(Source[I]);
			Raster.FillTriangle(First, Previous, Next, Color);
			Previous = Next;
		}
	}
}
}

ESimViewMode ViewModeForIndex(int32 ViewModeIndex, bool* bOutExact)
{
	ESimViewMode Mode = ESimViewMode::Lit;
	bool bExact = true;
	switch (ViewModeIndex)
	{
	case EViewModeIndex::VMI_Lit: Mode = ESimViewMode::Lit; break;
	case EViewModeIndex::VMI_Unlit: Mode = ESimViewMode::Unlit; break;
	case EViewModeIndex::VMI_BrushWireframe:
	case EViewModeIndex::VMI_Wireframe: Mode = ESimViewMode::Wireframe; break;
	case EViewModeIndex::VMI_LightingOnly:
	case EViewModeIndex::VMI_Lit_DetailLighting: Mode = ESimViewMode::LightingOnly; break;
	default: bExact = false; break;
	}
	if (bOutExact) *bOutExact = bExact;
	return Mode;
}

FSimRenderCamera FSimRenderCamera::Perspective(const FVector& Location, const FRotator& Rotation, double FOVDegrees)
{
	FSimRenderCamera C;
	C.Location = Location;
	C.Axes = RotatorAxes(Rotation);
	C.FOVDegrees = FOVDegrees;
	return C;
}

FSimRenderCamera FSimRenderCamera::Orthographic(const FVector& Location, const FRotator& Rotation, double OrthoWidth)
{
	FSimRenderCamera C = Perspective(Location, Rotation, 90.0);
	C.bOrthographic = true;
	C.OrthoWidth = OrthoWidth;
	return C;
}

FSimRenderStats FSimRenderFrame::GetStats() const
{
	FSimRenderStats Stats;
	Stats.DrawCalls = static_cast<int32>(Primitives.size());
	for (const FSimRenderPrimitive& P : Primitives) Stats.PrimitivesDrawn += P.Mesh ? P.Mesh->NumTriangles : 0;
	return Stats;
}

void FSimRenderFrame::Reset()
{
	Size = FIntPoint();
	bHasView = false;
	Camera = FSimRenderCamera();
	ViewMode = ESimViewMode::Lit;
	Primitives.clear();
	Lights.clear();
}

bool ProjectToScreen(const FSimRenderCamera& Camera, FIntPoint Size, const FVector& World, double& OutX, double& OutY, double& OutDepth)
{
	const FViewVert V = ToView(Camera, World);
	OutDepth = V.Z;
	if (!Camera.bOrthographic && V.Z < SimRenderConstants::NearPlane) return false;
	const FScreenVert S = FProjection(Camera, Size).Project(V);
	OutX = S.X;
	OutY = S.Y;
	return true;
}

void RasterizeFrame(const FSimRenderFrame& Frame, std::vector<FColor>& OutPixels)
{
	const size_t Count = static_cast<size_t>(std::max(Frame.Size.X, 0)) * static_cast<size_t>(std::max(Frame.Size.Y, 0));
	if (!Frame.bHasView)
	{
		OutPixels.assign(Count, SimRenderConstants::ClearColor);
		return;
	}
	const bool bWire = Frame.ViewMode == ESimViewMode::Wireframe;
	OutPixels.assign(Count, bWire ? SimRenderConstants::ClearColor : SimRenderConstants::SkyColor);
	if (Count == 0) return;
	// The render thread rasterises every frame read back; keeping its buffers saves a large allocation each time.
	thread_local std::vector<float> Depth;
	thread_local std::vector<FVector> World;
	thread_local std::vector<FViewVert> View;
	Depth.assign(Count, -std::numeric_limits<float>::infinity());
	FRaster Raster(Frame.Size, OutPixels, Depth);
	const FProjection Projection(Frame.Camera, Frame.Size);
	for (const FSimRenderPrimitive& Prim : Frame.Primitives)
	{
		if (Prim.Mesh) DrawPrimitive(Frame, Prim, Projection, Raster, World, View);
	}
}
}
