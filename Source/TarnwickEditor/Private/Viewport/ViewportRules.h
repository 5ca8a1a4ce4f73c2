// The pure rules of the viewport actions: view-mode names, the field-of-view clamp, how camera vectors and
// toggles are read from parameters, and the look-at geometry. ViewportActions.cpp applies them to the active
// level viewport; each rule has its own table of cases in the tests.
#pragma once
#include "HostTypes.h"
#include "MathTypes.h"
#include "TarnwickJson.h"

#include <optional>
#include <span>
#include <string_view>

namespace Tarnwick::Viewport
{
/** A set_view_mode name and the engine view-mode index it selects. */
struct FViewModeName
{
	const char* Name;
	int32 Index;
};

/** Every name set_view_mode accepts, in the order its error message lists them. */
std::span<const FViewModeName> GetViewModeNames();
/** The entry whose name equals Name ignoring ASCII case; null for anything else (no trimming). */
const FViewModeName* FindViewMode(std::string_view Name);

inline constexpr double MinFov = 5.0;
inline constexpr double MaxFov = 170.0;
/** Degrees clamped to 5 … 170. */
double ClampFov(double Degrees);

/** Params[Key] unless it is absent or JSON null: agents send null for "not given". */
const FJson* FindParam(const FJsonPtr& Params, const char* Key);

/** Three finite JSON numbers as (X, Y, Z); nullopt for anything else (other length, text, NaN, infinity). */
std::optional<FVector> ReadFiniteVector3(const FJson& Value);

/** What a toggle's `enabled` asks for. */
struct FToggleRequest
{
	enum class EKind : uint8
	{
		/** Absent (or JSON null): flip the current state. */
		Flip,
		/** A JSON bool, or the text "true"/"false" in any case: set this state. */
		Set,
		/** Present but not a boolean: refused, never taken as a flip. */
		Invalid,
	};
	EKind Kind = EKind::Flip;
	bool bState = false;
};

FToggleRequest ReadToggle(const FJson* Value);

/** The engine's orientation of a direction: Yaw atan2(Y, X), Pitch atan2(Z, |XY|), in degrees, Roll 0. */
FRotator OrientationRotator(const FVector& Direction);

/** Below this squared length a camera-to-target direction is not normalised; (1, 0, 0) is used instead. */
inline constexpr double LookAtDirectionMinSquaredLength = 0.0001;
/** A camera whose offset to the target is within this of zero on every axis is at the target. */
inline constexpr double LookAtTolerance = 0.0001;

/** Where look_at puts the camera. */
struct FLookAtPlacement
{
	FVector Location;
	FRotator Rotation;
};

/**
 * The camera pose that looks at Target from Camera. With Distance (positive), the camera first moves onto the
 * line from its position to the target, Distance short of the target (behind it along +X when the camera sits
 * on the target). nullopt when the camera would be at the target, where no direction exists.
 */
std::optional<FLookAtPlacement> PlanLookAt(const FVector& Camera, const FVector& Target, std::optional<double> Distance);
}
