#include "SimRenderShapes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Tarnwick::Sim::SimShapes
{
namespace
{
constexpr int32 Segments = 24;

void AddPolygon(FSimMesh& Mesh, std::initializer_list<int32> Corners)
{
	FSimPolygon P;
	P.Count = static_cast<int32>(Corners.size());
	std::copy(Corners.begin(), Corners.end(), P.Corners.begin());
	Mesh.Polygons.push_back(P);
	Mesh.NumTriangles += P.Count - 2;
}

/** A ring of Segments vertices at height Z with radius R; returns the index of its first vertex. */
int32 AddRing(FSimMesh& Mesh, double R, double Z)
{
	const int32 First = static_cast<int32>(Mesh.Vertices.size());
	for (int32 I = 0; I < Segments; ++I)
	{
		const double A = 2.0 * std::numbers::pi * I / Segments;
		Mesh.Vertices.emplace_back(R * std::cos(A), R * std::sin(A), Z);
	}
	return First;
}

void JoinRings(FSimMesh& Mesh, int32 Lower, int32 Upper)
{
	for (int32 I = 0; I < Segments; ++I)
	{
		const int32 J = (I + 1) % Segments;
		AddPolygon(Mesh, {Lower + I, Lower + J, Upper + J, Upper + I});
	}
}

/** A fan of triangles from a centre vertex to a ring (a cap or a pole). */
void Fan(FSimMesh& Mesh, int32 Centre, int32 Ring)
{
	for (int32 I = 0; I < Segments; ++I)
	{
		AddPolygon(Mesh, {Centre, Ring + I, Ring + (I + 1) % Segments});
	}
}

/** Rings of a sphere of radius R from the bottom pole to the top one, the straight part stretched by Offset. */
FSimMesh MakeRoundShape(double R, double Offset, int32 RingsPerHalf)
{
	FSimMesh Mesh;
	const int32 Bottom = static_cast<int32>(Mesh.Vertices.size());
	Mesh.Vertices.emplace_back(0.0, 0.0, -R - Offset);
	int32 Previous = -1;
	for (int32 Half = 0; Half < 2; ++Half)
	{
		for (int32 K = 1; K <= RingsPerHalf; ++K)
		{
			// Bottom half: latitude from the pole up to the equator; top half from the equator up, skipping the pole.
			const int32 Step = Half == 0 ? K : K - 1;
			if (Half == 1 && Step == 0 && Offset == 0.0) continue;
			const double Lat = (Half == 0 ? -std::numbers::pi / 2 : 0.0) + std::numbers::pi / 2 * Step / RingsPerHalf;
			const double Z = R * std::sin(Lat) + (Half == 0 ? -Offset : Offset);
			const int32 Ring = AddRing(Mesh, R * std::cos(Lat), Z);
			if (Previous < 0) Fan(Mesh, Bottom, Ring);
			else JoinRings(Mesh, Previous, Ring);
			Previous = Ring;
		}
	}
	const int32 Top = static_cast<int32>(Mesh.Vertices.size());
	Mesh.Vertices.emplace_back(0.0, 0.0, R + Offset);
	Fan(Mesh, Top, Previous);
	return Mesh;
}
}

const FSimMesh& UnitBox()
{
	static const FSimMesh Mesh = [] {
		FSimMesh M;
		for (int32 I = 0; I < 8; ++I) M.Vertices.emplace_back(I & 1 ? 1.0 : -1.0, I & 2 ? 1.0 : -1.0, I & 4 ? 1.0 : -1.0);
		AddPolygon(M, {0, 1, 3, 2}); // -Z
		AddPolygon(M, {4, 5, 7, 6}); // +Z
		AddPolygon(M, {0, 1, 5, 4}); // -Y
		AddPolygon(M, {2, 3, 7, 6}); // +Y
		AddPolygon(M, {0, 2, 6, 4}); // -X
		AddPolygon(M, {1, 3, 7, 5}); // +X
		return M;
	}();
	return Mesh;
}

const FSimMesh& UnitSphere()
{
	static const FSimMesh Mesh = MakeRoundShape(1.0, 0.0, 6);
	return Mesh;
}

const FSimMesh& UnitCylinder()
{
	static const FSimMesh Mesh = [] {
		FSimMesh M;
		const int32 Low = AddRing(M, 1.0, -1.0);
		const int32 High = AddRing(M, 1.0, 1.0);
		JoinRings(M, Low, High);
		M.Vertices.emplace_back(0.0, 0.0, -1.0);
		Fan(M, static_cast<int32>(M.Vertices.size()) - 1, Low);
		M.Vertices.emplace_back(0.0, 0.0, 1.0);
		Fan(M, static_cast<int32>(M.Vertices.size()) - 1, High);
		return M;
	}();
	return Mesh;
}

const FSimMesh& UnitCone()
{
	static const FSimMesh Mesh = [] {
		FSimMesh M;
		const int32 Base = AddRing(M, 1.0, -1.0);
		M.Vertices.emplace_back(0.0, 0.0, -1.0);
		Fan(M, static_cast<int32>(M.Vertices.size()) - 1, Base);
		M.Vertices.emplace_back(0.0, 0.0, 1.0);
		Fan(M, static_cast<int32>(M.Vertices.size()) - 1, Base);
		return M;
	}();
	return Mesh;
}

const FSimMesh& UnitPlane()
{
	static const FSimMesh Mesh = [] {
		constexpr int32 Cells = 16;
		FSimMesh M;
		M.bTwoSided = true;
		for (int32 Y = 0; Y <= Cells; ++Y)
		{
			for (int32 X = 0; X <= Cells; ++X) M.Vertices.emplace_back(-1.0 + 2.0 * X / Cells, -1.0 + 2.0 * Y / Cells, 0.0);
		}
		for (int32 Y = 0; Y < Cells; ++Y)
		{
			for (int32 X = 0; X < Cells; ++X)
			{
				const int32 A = Y * (Cells + 1) + X;
				AddPolygon(M, {A, A + 1, A + Cells + 2, A + Cells + 1});
			}
		}
		return M;
	}();
	return Mesh;
}

std::shared_ptr<const FSimMesh> MakeCapsule(double Radius, double HalfHeight)
{
	const double R = std::max(Radius, 0.0);
	return std::make_shared<const FSimMesh>(MakeRoundShape(R, std::max(HalfHeight - R, 0.0), 6));
}
}
