// Vector arithmetic and transforms for the simulated editor's renderer, in the engine's conventions: X forward,
// Y right, Z up (left-handed), rotations as the engine's FRotator (degrees; yaw turns X toward Y, positive pitch
// looks up, roll turns Y toward Z about X) and its rotation matrix, whose rows are the rotated axes.
#pragma once
#include "MathTypes.h"

#include <cmath>
#include <numbers>

namespace Tarnwick::Sim::RenderMath
{
constexpr FVector Add(const FVector& A, const FVector& B) { return FVector(A.X + B.X, A.Y + B.Y, A.Z + B.Z); }
constexpr FVector Sub(const FVector& A, const FVector& B) { return FVector(A.X - B.X, A.Y - B.Y, A.Z - B.Z); }
constexpr FVector Scale(const FVector& A, double S) { return FVector(A.X * S, A.Y * S, A.Z * S); }
constexpr FVector Mul(const FVector& A, const FVector& B) { return FVector(A.X * B.X, A.Y * B.Y, A.Z * B.Z); }
constexpr double Dot(const FVector& A, const FVector& B) { return A.X * B.X + A.Y * B.Y + A.Z * B.Z; }
constexpr FVector Cross(const FVector& A, const FVector& B)
{
	return FVector(A.Y * B.Z - A.Z * B.Y, A.Z * B.X - A.X * B.Z, A.X * B.Y - A.Y * B.X);
}
inline double Length(const FVector& A) { return std::sqrt(Dot(A, A)); }
/** A unit vector along A; zero stays zero. */
inline FVector Normalize(const FVector& A)
{
	const double L = Length(A);
	return L > 1e-12 ? Scale(A, 1.0 / L) : FVector();
}
constexpr double DegreesToRadians(double D) { return D * std::numbers::pi / 180.0; }

/** The rotated unit axes of a rotator: X is forward, Y right, Z up (the engine's FRotationMatrix rows). */
struct FAxes
{
	FVector X{1.0, 0.0, 0.0};
	FVector Y{0.0, 1.0, 0.0};
	FVector Z{0.0, 0.0, 1.0};
};

inline FAxes RotatorAxes(const FRotator& R)
{
	const double P = DegreesToRadians(R.Pitch), Yw = DegreesToRadians(R.Yaw), Rl = DegreesToRadians(R.Roll);
	const double SP = std::sin(P), CP = std::cos(P), SY = std::sin(Yw), CY = std::cos(Yw), SR = std::sin(Rl), CR = std::cos(Rl);
	FAxes A;
	A.X = FVector(CP * CY, CP * SY, SP);
	A.Y = FVector(SR * SP * CY - CR * SY, SR * SP * SY + CR * CY, -SR * CP);
	A.Z = FVector(-(CR * SP * CY + SR * SY), CY * SR - CR * SP * SY, CR * CP);
	return A;
}

/** An affine transform as an origin and three (scaled) axes: local (x, y, z) maps to O + x X + y Y + z Z. */
struct FAffine
{
	FVector Origin;
	FVector X{1.0, 0.0, 0.0};
	FVector Y{0.0, 1.0, 0.0};
	FVector Z{0.0, 0.0, 1.0};

	FVector TransformVector(const FVector& V) const { return Add(Add(Scale(X, V.X), Scale(Y, V.Y)), Scale(Z, V.Z)); }
	FVector TransformPoint(const FVector& P) const { return Add(Origin, TransformVector(P)); }

	/** The engine's transform order: scale, then rotation, then translation. */
	static FAffine FromTransform(const FVector& Location, const FRotator& Rotation, const FVector& Scale3D)
	{
		const FAxes A = RotatorAxes(Rotation);
		FAffine T;
		T.Origin = Location;
		T.X = Scale(A.X, Scale3D.X);
		T.Y = Scale(A.Y, Scale3D.Y);
		T.Z = Scale(A.Z, Scale3D.Z);
		return T;
	}

	/** This transform applied after Inner: a point in Inner's local space lands in this one's parent space. */
	FAffine Compose(const FAffine& Inner) const
	{
		FAffine T;
		T.Origin = TransformPoint(Inner.Origin);
		T.X = TransformVector(Inner.X);
		T.Y = TransformVector(Inner.Y);
		T.Z = TransformVector(Inner.Z);
		return T;
	}

	/** Scales the local axes (a unit shape made the size of an engine mesh). */
	FAffine ScaledLocal(const FVector& S) const
	{
		FAffine T = *this;
		T.X = Scale(X, S.X);
		T.Y = Scale(Y, S.Y);
		T.Z = Scale(Z, S.Z);
		return T;
	}
};
}
