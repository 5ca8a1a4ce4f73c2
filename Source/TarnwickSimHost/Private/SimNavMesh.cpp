#include "SimNavMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <queue>

namespace Tarnwick::Sim
{
namespace
{
constexpr double Sqrt2 = 1.4142135623730951;
/** The eight moves: four straight, then four diagonal. */
constexpr int32 NeighbourDX[8] = {1, -1, 0, 0, 1, 1, -1, -1};
constexpr int32 NeighbourDY[8] = {0, 0, 1, -1, 1, -1, 1, -1};
}

void FSimNavMesh::UpdateMoves(int32 X0, int32 Y0, int32 X1, int32 Y1)
{
	X0 = std::max(X0, 0);
	Y0 = std::max(Y0, 0);
	X1 = std::min(X1, CellsX - 1);
	Y1 = std::min(Y1, CellsY - 1);
	for (int32 Y = Y0; Y <= Y1; ++Y)
	{
		for (int32 X = X0; X <= X1; ++X)
		{
			const int32 I = CellIndex(X, Y);
			uint8_t Moves = 0;
			if (Cells[static_cast<size_t>(I)].bWalkable)
			{
				for (int32 K = 0; K < 8; ++K)
				{
					const int32 NX = X + NeighbourDX[K], NY = Y + NeighbourDY[K];
					if (NX < 0 || NY < 0 || NX >= CellsX || NY >= CellsY || !Connected(I, CellIndex(NX, NY))) continue;
					// A diagonal move needs both cells beside it, so that it never cuts a corner.
					if (K >= 4 && (!Connected(I, CellIndex(NX, Y)) || !Connected(I, CellIndex(X, NY)))) continue;
					Moves = static_cast<uint8_t>(Moves | (1u << K));
				}
			}
			Cells[static_cast<size_t>(I)].Moves = Moves;
		}
	}
}

void FSimNavMesh::SetBounds(const std::vector<FSimBox>& InBounds)
{
	Bounds = InBounds;
	Cells.clear();
	TilesX = TilesY = CellsX = CellsY = 0;
	OriginX = OriginY = 0.0;
	if (Bounds.empty()) return;
	const double TileSize = Config.CellSize * Config.TileCells;
	double MinX = Bounds[0].Min.X, MinY = Bounds[0].Min.Y, MaxX = Bounds[0].Max.X, MaxY = Bounds[0].Max.Y;
	for (const FSimBox& B : Bounds)
	{
		MinX = std::min(MinX, B.Min.X);
		MinY = std::min(MinY, B.Min.Y);
		MaxX = std::max(MaxX, B.Max.X);
		MaxY = std::max(MaxY, B.Max.Y);
	}
	// Tiles sit on one grid for every world (anchored at the origin), as the engine's tiles do.
	OriginX = std::floor(MinX / TileSize) * TileSize;
	OriginY = std::floor(MinY / TileSize) * TileSize;
	TilesX = std::max(1, static_cast<int32>(std::ceil((MaxX - OriginX) / TileSize - 1e-9)));
	TilesY = std::max(1, static_cast<int32>(std::ceil((MaxY - OriginY) / TileSize - 1e-9)));
	CellsX = TilesX * Config.TileCells;
	CellsY = TilesY * Config.TileCells;
	Cells.assign(static_cast<size_t>(CellsX) * static_cast<size_t>(CellsY), FCell());
	Stamp.assign(Cells.size(), 0);
	G.assign(Cells.size(), 0.0f);
	Parent.assign(Cells.size(), -1);
	Closed.assign(Cells.size(), 0);
	Search = 0;
}

FVector FSimNavMesh::CellCenter(int32 Index) const
{
	const int32 X = Index % CellsX;
	const int32 Y = Index / CellsX;
	return FVector(OriginX + (X + 0.5) * Config.CellSize, OriginY + (Y + 0.5) * Config.CellSize, Cells[static_cast<size_t>(Index)].Height);
}

bool FSimNavMesh::CellAt(double X, double Y, int32& OutX, int32& OutY) const
{
	if (Cells.empty()) return false;
	const double FX = std::floor((X - OriginX) / Config.CellSize);
	const double FY = std::floor((Y - OriginY) / Config.CellSize);
	if (FX < 0.0 || FY < 0.0 || FX >= CellsX || FY >= CellsY) return false;
	OutX = static_cast<int32>(FX);
	OutY = static_cast<int32>(FY);
	return true;
}

std::vector<int32> FSimNavMesh::TilesTouching(const FSimBox& Box) const
{
	std::vector<int32> Out;
	if (Cells.empty()) return Out;
	const double Grow = Config.AgentRadius + Config.CellSize;
	const double TileSize = Config.CellSize * Config.TileCells;
	const int32 X0 = std::max(0, static_cast<int32>(std::floor((Box.Min.X - Grow - OriginX) / TileSize)));
	const int32 Y0 = std::max(0, static_cast<int32>(std::floor((Box.Min.Y - Grow - OriginY) / TileSize)));
	const int32 X1 = std::min(TilesX - 1, static_cast<int32>(std::floor((Box.Max.X + Grow - OriginX) / TileSize)));
	const int32 Y1 = std::min(TilesY - 1, static_cast<int32>(std::floor((Box.Max.Y + Grow - OriginY) / TileSize)));
	for (int32 Y = Y0; Y <= Y1; ++Y)
	{
		for (int32 X = X0; X <= X1; ++X) Out.push_back(Y * TilesX + X);
	}
	return Out;
}

void FSimNavMesh::BuildTile(int32 Tile, const std::vector<FSimBox>& Boxes)
{
	if (Tile < 0 || Tile >= GetNumTiles()) return;
	const int32 TX = Tile % TilesX;
	const int32 TY = Tile / TilesX;
	const double TileSize = Config.CellSize * Config.TileCells;
	const FSimBox TileBox{FVector(OriginX + TX * TileSize, OriginY + TY * TileSize, -1e18),
		FVector(OriginX + (TX + 1) * TileSize, OriginY + (TY + 1) * TileSize, 1e18)};
	// Only boxes near the tile matter.
	std::vector<const FSimBox*> Near;
	for (const FSimBox& B : Boxes)
	{
		if (B.ExpandedXY(Config.AgentRadius).Intersects(TileBox)) Near.push_back(&B);
	}
	std::vector<const FSimBox*> NearBounds;
	for (const FSimBox& B : Bounds)
	{
		if (B.Intersects(TileBox)) NearBounds.push_back(&B);
	}
	for (int32 CY = TY * Config.TileCells; CY < (TY + 1) * Config.TileCells; ++CY)
	{
		for (int32 CX = TX * Config.TileCells; CX < (TX + 1) * Config.TileCells; ++CX)
		{
			FCell& Cell = Cells[static_cast<size_t>(CellIndex(CX, CY))];
			Cell = FCell();
			const double X = OriginX + (CX + 0.5) * Config.CellSize;
			const double Y = OriginY + (CY + 0.5) * Config.CellSize;
			bool bFound = false;
			double Floor = 0.0;
			for (const FSimBox* Bound : NearBounds)
			{
				if (!Bound->ContainsXY(X, Y)) continue;
				for (const FSimBox* B : Near)
				{
					const double Top = B->Max.Z;
					if (!B->ContainsXY(X, Y) || Top < Bound->Min.Z || Top > Bound->Max.Z) continue;
					if (!bFound || Top > Floor) Floor = Top;
					bFound = true;
				}
			}
			if (!bFound) continue;
			bool bBlocked = false;
			for (const FSimBox* B : Near)
			{
				if (B->Max.Z > Floor + Config.MaxStepHeight && B->Min.Z < Floor + Config.AgentHeight &&
					B->ExpandedXY(Config.AgentRadius).ContainsXY(X, Y))
				{
					bBlocked = true;
					break;
				}
			}
			Cell.Height = static_cast<float>(Floor);
			Cell.bWalkable = !bBlocked;
		}
	}
	// The tile's cells and the ring around it (whose moves into the tile may have changed).
	UpdateMoves(TX * Config.TileCells - 1, TY * Config.TileCells - 1, (TX + 1) * Config.TileCells, (TY + 1) * Config.TileCells);
}

int32 FSimNavMesh::CountTilesWithData() const
{
	int32 Count = 0;
	for (int32 T = 0; T < GetNumTiles(); ++T)
	{
		const int32 TX = T % TilesX, TY = T / TilesX;
		bool bAny = false;
		for (int32 CY = TY * Config.TileCells; CY < (TY + 1) * Config.TileCells && !bAny; ++CY)
		{
			for (int32 CX = TX * Config.TileCells; CX < (TX + 1) * Config.TileCells && !bAny; ++CX)
			{
				bAny = Cells[static_cast<size_t>(CellIndex(CX, CY))].bWalkable;
			}
		}
		Count += bAny ? 1 : 0;
	}
	return Count;
}

int32 FSimNavMesh::CountWalkableCells() const
{
	return static_cast<int32>(std::count_if(Cells.begin(), Cells.end(), [](const FCell& C) { return C.bWalkable; }));
}

bool FSimNavMesh::Connected(int32 A, int32 B) const
{
	const FCell& CA = Cells[static_cast<size_t>(A)];
	const FCell& CB = Cells[static_cast<size_t>(B)];
	return CA.bWalkable && CB.bWalkable && std::fabs(CA.Height - CB.Height) <= Config.MaxStepHeight;
}

int32 FSimNavMesh::NearestWalkable(const FVector& Point, const FVector& Extent) const
{
	if (Cells.empty()) return -1;
	// A point over a walkable cell at the right height is on the navmesh there.
	int32 PX = 0, PY = 0;
	if (CellAt(Point.X, Point.Y, PX, PY))
	{
		const FCell& Own = Cells[static_cast<size_t>(CellIndex(PX, PY))];
		if (Own.bWalkable && std::fabs(Point.Z - Own.Height) <= Extent.Z) return CellIndex(PX, PY);
	}
	const int32 X0 = std::max(0, static_cast<int32>(std::floor((Point.X - Extent.X - OriginX) / Config.CellSize)));
	const int32 Y0 = std::max(0, static_cast<int32>(std::floor((Point.Y - Extent.Y - OriginY) / Config.CellSize)));
	const int32 X1 = std::min(CellsX - 1, static_cast<int32>(std::floor((Point.X + Extent.X - OriginX) / Config.CellSize)));
	const int32 Y1 = std::min(CellsY - 1, static_cast<int32>(std::floor((Point.Y + Extent.Y - OriginY) / Config.CellSize)));
	int32 Best = -1;
	double BestDist = std::numeric_limits<double>::max();
	for (int32 Y = Y0; Y <= Y1; ++Y)
	{
		for (int32 X = X0; X <= X1; ++X)
		{
			const int32 I = CellIndex(X, Y);
			const FCell& C = Cells[static_cast<size_t>(I)];
			if (!C.bWalkable || std::fabs(Point.Z - C.Height) > Extent.Z) continue;
			// Otherwise the nearest centre within the extent wins (the first of equals, in cell order).
			const FVector Center = CellCenter(I);
			if (std::fabs(Point.X - Center.X) > Extent.X || std::fabs(Point.Y - Center.Y) > Extent.Y) continue;
			const double D = std::hypot(Point.X - Center.X, Point.Y - Center.Y);
			if (D < BestDist)
			{
				BestDist = D;
				Best = I;
			}
		}
	}
	return Best;
}

bool FSimNavMesh::ProjectPoint(const FVector& Point, const FVector& Extent, FVector& OutLocation) const
{
	const int32 I = NearestWalkable(Point, Extent);
	if (I < 0) return false;
	const FVector Center = CellCenter(I);
	int32 CX = 0, CY = 0;
	// A point over its own walkable cell keeps its X and Y; otherwise it moves to the nearest cell's centre.
	if (CellAt(Point.X, Point.Y, CX, CY) && CellIndex(CX, CY) == I) OutLocation = FVector(Point.X, Point.Y, Center.Z);
	else OutLocation = Center;
	return true;
}

bool FSimNavMesh::HasLineOfSight(const FVector& A, const FVector& B) const
{
	int32 X = 0, Y = 0, EX = 0, EY = 0;
	if (!CellAt(A.X, A.Y, X, Y) || !CellAt(B.X, B.Y, EX, EY)) return false;
	if (!Cells[static_cast<size_t>(CellIndex(EX, EY))].bWalkable) return false;
	int32 Current = CellIndex(X, Y);
	if (!Cells[static_cast<size_t>(Current)].bWalkable) return false;
	const double DX = B.X - A.X, DY = B.Y - A.Y;
	const int32 StepX = DX > 0 ? 1 : (DX < 0 ? -1 : 0);
	const int32 StepY = DY > 0 ? 1 : (DY < 0 ? -1 : 0);
	const double Inf = std::numeric_limits<double>::infinity();
	const double CellX0 = OriginX + X * Config.CellSize, CellY0 = OriginY + Y * Config.CellSize;
	double TMaxX = StepX > 0 ? (CellX0 + Config.CellSize - A.X) / DX : (StepX < 0 ? (CellX0 - A.X) / DX : Inf);
	double TMaxY = StepY > 0 ? (CellY0 + Config.CellSize - A.Y) / DY : (StepY < 0 ? (CellY0 - A.Y) / DY : Inf);
	const double TDeltaX = StepX != 0 ? Config.CellSize / std::fabs(DX) : Inf;
	const double TDeltaY = StepY != 0 ? Config.CellSize / std::fabs(DY) : Inf;
	// Walk every cell the segment crosses; through an exact corner both side cells must be passable.
	// Walk until the next crossing would be past B (a B on a cell edge ends in the cell the walk reached).
	for (int32 Guard = 0; std::min(TMaxX, TMaxY) < 1.0 - 1e-12 && Guard < CellsX + CellsY + 4; ++Guard)
	{
		if (std::fabs(TMaxX - TMaxY) < 1e-12)
		{
			const int32 SideA = CellIndex(X + StepX, Y), SideB = CellIndex(X, Y + StepY);
			if (!Connected(Current, SideA) || !Connected(Current, SideB)) return false;
			X += StepX;
			Y += StepY;
			TMaxX += TDeltaX;
			TMaxY += TDeltaY;
		}
		else if (TMaxX < TMaxY)
		{
			X += StepX;
			TMaxX += TDeltaX;
		}
		else
		{
			Y += StepY;
			TMaxY += TDeltaY;
		}
		if (X < 0 || Y < 0 || X >= CellsX || Y >= CellsY) return false;
		const int32 Next = CellIndex(X, Y);
		if (!Connected(Current, Next)) return false;
		Current = Next;
	}
	return true;
}

FNavigationPath FSimNavMesh::FindPath(const FVector& Start, const FVector& End, const FVector& Extent, bool bAllowPartialPath) const
{
	FNavigationPath Path;
	const int32 S = NearestWalkable(Start, Extent);
	const int32 E = NearestWalkable(End, Extent);
	if (S < 0 || E < 0) return Path;
	if (++Search == 0)
	{
		std::fill(Stamp.begin(), Stamp.end(), 0);
		Search = 1;
	}
	const int32 EX = E % CellsX, EY = E / CellsX;
	auto Heuristic = [&](int32 I) {
		const int32 DX = std::abs(I % CellsX - EX), DY = std::abs(I / CellsX - EY);
		// A hair above the true distance breaks the many ties of a grid toward the goal, so that open ground is
		// crossed without exploring every equally short route; paths stay within 0.1% of the shortest.
		return static_cast<float>((std::max(DX, DY) + (Sqrt2 - 1.0) * std::min(DX, DY)) * Config.CellSize * 1.001);
	};
	struct FOpen
	{
		float F;
		float H;
		int32 Index;
		bool operator>(const FOpen& O) const
		{
			if (F != O.F) return F > O.F;
			if (H != O.H) return H > O.H;
			return Index > O.Index;
		}
	};
	std::priority_queue<FOpen, std::vector<FOpen>, std::greater<FOpen>> Open;
	auto Visit = [&](int32 I, float Cost, int32 From) {
		if (Stamp[static_cast<size_t>(I)] != Search)
		{
			Stamp[static_cast<size_t>(I)] = Search;
			Closed[static_cast<size_t>(I)] = 0;
		}
		else if (Closed[static_cast<size_t>(I)] || Cost >= G[static_cast<size_t>(I)])
		{
			return;
		}
		G[static_cast<size_t>(I)] = Cost;
		Parent[static_cast<size_t>(I)] = From;
		const float H = Heuristic(I);
		Open.push(FOpen{Cost + H, H, I});
	};
	Visit(S, 0.0f, -1);
	int32 Best = S;
	float BestH = Heuristic(S);
	int32 Offsets[8];
	for (int32 K = 0; K < 8; ++K) Offsets[K] = NeighbourDY[K] * CellsX + NeighbourDX[K];
	const float Straight = static_cast<float>(Config.CellSize);
	const float Diagonal = static_cast<float>(Sqrt2 * Config.CellSize);
	bool bReached = false;
	while (!Open.empty())
	{
		const FOpen Top = Open.top();
		Open.pop();
		const int32 I = Top.Index;
		if (Closed[static_cast<size_t>(I)]) continue;
		Closed[static_cast<size_t>(I)] = 1;
		if (Top.H < BestH)
		{
			BestH = Top.H;
			Best = I;
		}
		if (I == E)
		{
			bReached = true;
			break;
		}
		const uint8_t Moves = Cells[static_cast<size_t>(I)].Moves;
		const float GI = G[static_cast<size_t>(I)];
		for (int32 K = 0; K < 8; ++K)
		{
			if (Moves & (1u << K)) Visit(I + Offsets[K], GI + (K >= 4 ? Diagonal : Straight), I);
		}
	}
	if (!bReached && (!bAllowPartialPath || Best == S)) return Path;
	const int32 Goal = bReached ? E : Best;
	std::vector<int32> Chain;
	for (int32 I = Goal; I >= 0; I = Parent[static_cast<size_t>(I)]) Chain.push_back(I);
	std::reverse(Chain.begin(), Chain.end());

	// Ends: a point over its own cell keeps its X and Y; the cells' floors give the heights.
	FVector StartPoint, EndPoint;
	ProjectPoint(Start, Extent, StartPoint);
	if (bReached) ProjectPoint(End, Extent, EndPoint);
	else EndPoint = CellCenter(Goal);
	std::vector<FVector> Nodes;
	Nodes.reserve(Chain.size() + 1);
	Nodes.push_back(StartPoint);
	for (size_t K = 1; K + 1 < Chain.size(); ++K) Nodes.push_back(CellCenter(Chain[K]));
	Nodes.push_back(EndPoint);
	// Straighten: from each kept point jump to the farthest point of the chain a straight line reaches (the end
	// when it is in sight, else found by halving; a neighbour is always in reach), and keep that one.
	Path.PathPoints.push_back(StartPoint);
	const size_t Last = Nodes.size() - 1;
	for (size_t Anchor = 0; Anchor < Last;)
	{
		size_t Reach = Anchor + 1;
		if (HasLineOfSight(Nodes[Anchor], Nodes[Last]))
		{
			Reach = Last;
		}
		else
		{
			size_t Lo = Anchor + 1, Hi = Last;
			while (Hi - Lo > 1)
			{
				const size_t Mid = Lo + (Hi - Lo) / 2;
				if (HasLineOfSight(Nodes[Anchor], Nodes[Mid])) Lo = Mid;
				else Hi = Mid;
			}
			Reach = Lo;
		}
		if (Reach != Last) Path.PathPoints.push_back(Nodes[Reach]);
		Anchor = Reach;
	}
	Path.PathPoints.push_back(EndPoint);
	Path.bIsPartial = !bReached;
	return Path;
}
}
