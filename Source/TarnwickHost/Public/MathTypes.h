// The engine's small math value types, as the host reports transforms and camera poses.
#pragma once

struct FVector
{
	double X = 0.0;
	double Y = 0.0;
	double Z = 0.0;

	constexpr FVector() = default;
	constexpr FVector(double InX, double InY, double InZ) : X(InX), Y(InY), Z(InZ) {}
	bool operator==(const FVector&) const = default;
};

struct FRotator
{
	double Pitch = 0.0;
	double Yaw = 0.0;
	double Roll = 0.0;

	constexpr FRotator() = default;
	constexpr FRotator(double InPitch, double InYaw, double InRoll) : Pitch(InPitch), Yaw(InYaw), Roll(InRoll) {}
	bool operator==(const FRotator&) const = default;
};

namespace EComponentMobility
{
enum Type : unsigned char
{
	Static,
	Stationary,
	Movable,
};
}
