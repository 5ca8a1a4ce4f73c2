#include "Viewport/ViewportRules.h"

#include "Viewport.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>

namespace Tarnwick::Viewport
{
namespace
{
constexpr FViewModeName ViewModes[] = {
	{"lit", EViewModeIndex::VMI_Lit},
	{"unlit", EViewModeIndex::VMI_Unlit},
	{"wireframe", EViewModeIndex::VMI_BrushWireframe},
	{"detail_lighting", EViewModeIndex::VMI_Lit_DetailLighting},
	{"lighting_only", EViewModeIndex::VMI_LightingOnly},
	{"shader_complexity", EViewModeIndex::VMI_ShaderComplexity},
	{"lightmap_density", EViewModeIndex::VMI_LightmapDensity},
	{"reflections", EViewModeIndex::VMI_ReflectionOverride},
	{"collision_pawn", EViewModeIndex::VMI_CollisionPawn},
	{"collision_visibility", EViewModeIndex::VMI_CollisionVisibility},
	{"lod", EViewModeIndex::VMI_LODColoration},
	{"quad_overdraw", EViewModeIndex::VMI_QuadOverdraw},
};

bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	return A.size() == B.size() &&
		std::equal(A.begin(), A.end(), B.begin(), [](unsigned char X, unsigned char Y) { return std::tolower(X) == std::tolower(Y); });
}

double Degrees(double Radians)
{
	return Radians * (180.0 / std::numbers::pi);
}
}

std::span<const FViewModeName> GetViewModeNames()
{
	return ViewModes;
}

const FViewModeName* FindViewMode(std::string_view Name)
{
	for (const FViewModeName& Mode : ViewModes)
	{
		if (EqualsIgnoreCase(Mode.Name, Name)) return &Mode;
	}
	return nullptr;
}

double ClampFov(double Degrees)
{
	return std::clamp(Degrees, MinFov, MaxFov);
}

const FJson* FindParam(const FJsonPtr& Params, const char* Key)
{
	if (!Params || !Params->is_object()) return nullptr;
	const auto It = Params->find(Key);
	return It == Params->end() || It->is_null() ? nullptr : &*It;
}

std::optional<FVector> ReadFiniteVector3(const FJson& Value)
{
	if (!Value.is_array() || Value.size() != 3) return std::nullopt;
	double Components[3];
	for (size_t I = 0; I < 3; ++I)
	{
		if (!Value[I].is_number()) return std::nullopt;
		Components[I] = Value[I].get<double>();
		if (!std::isfinite(Components[I])) return std::nullopt;
	}
	return FVector(Components[0], Components[1], Components[2]);
}

FToggleRequest ReadToggle(const FJson* Value)
{
	using EKind = FToggleRequest::EKind;
	if (!Value) return {EKind::Flip, false};
	if (Value->is_boolean()) return {EKind::Set, Value->get<bool>()};
	if (Value->is_string())
	{
		const std::string& Text = Value->get_ref<const std::string&>();
		if (EqualsIgnoreCase(Text, "true")) return {EKind::Set, true};
		if (EqualsIgnoreCase(Text, "false")) return {EKind::Set, false};
	}
	return {EKind::Invalid, false};
}

FRotator OrientationRotator(const FVector& Direction)
{
	const double Yaw = Degrees(std::atan2(Direction.Y, Direction.X));
	const double Pitch = Degrees(std::atan2(Direction.Z, std::sqrt(Direction.X * Direction.X + Direction.Y * Direction.Y)));
	return FRotator(Pitch, Yaw, 0.0);
}

std::optional<FLookAtPlacement> PlanLookAt(const FVector& Camera, const FVector& Target, std::optional<double> Distance)
{
	FVector Location = Camera;
	if (Distance)
	{
		FVector Direction(Target.X - Camera.X, Target.Y - Camera.Y, Target.Z - Camera.Z);
		const double SquaredLength = Direction.X * Direction.X + Direction.Y * Direction.Y + Direction.Z * Direction.Z;
		if (SquaredLength > LookAtDirectionMinSquaredLength)
		{
			const double Length = std::sqrt(SquaredLength);
			Direction = FVector(Direction.X / Length, Direction.Y / Length, Direction.Z / Length);
		}
		else
		{
			Direction = FVector(1.0, 0.0, 0.0);
		}
		Location = FVector(Target.X - Direction.X * *Distance, Target.Y - Direction.Y * *Distance, Target.Z - Direction.Z * *Distance);
	}
	const FVector ToTarget(Target.X - Location.X, Target.Y - Location.Y, Target.Z - Location.Z);
	if (std::abs(ToTarget.X) <= LookAtTolerance && std::abs(ToTarget.Y) <= LookAtTolerance && std::abs(ToTarget.Z) <= LookAtTolerance)
	{
		return std::nullopt;
	}
	return FLookAtPlacement{Location, OrientationRotator(ToTarget)};
}
}
