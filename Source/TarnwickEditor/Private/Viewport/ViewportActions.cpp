// move_camera, look_at, set_fov, set_view_mode, toggle_realtime, toggle_game_view and get_viewport_info, all
// over the active level viewport (ActiveViewport.h). Every failure is -32603, malformed parameters included,
// and nothing is changed when a call fails. Each change logs one line to LogTarnwick and invalidates the
// viewport so that a viewport that is not realtime redraws too.
#include "TarnwickEditorHandlers.h"

#include "Editor.h"
#include "Printf.h"
#include "TarnwickLog.h"
#include "Viewport.h"
#include "Viewport/ActiveViewport.h"
#include "Viewport/ViewportRules.h"

#include <cmath>
#include <optional>
#include <string>
#include <utility>

namespace Tarnwick::Editor
{
namespace
{
using namespace Tarnwick::Viewport;

constexpr const char* NoActiveViewport = "No active editor viewport";

FTarnwickActionResult Fail(std::string Message)
{
	return FTarnwickActionResult(std::move(Message), Tarnwick::ErrorCodes::InternalError);
}

FTarnwickActionResult Succeeded()
{
	return FTarnwickActionResult::Success(FJson{{"success", true}});
}

FJson VectorToJson(const FVector& V)
{
	return FJson::array({V.X, V.Y, V.Z});
}

FJson RotatorToJson(const FRotator& R)
{
	return FJson::array({R.Pitch, R.Yaw, R.Roll});
}

FTarnwickActionResult MoveCamera(const FJsonPtr& Params)
{
	const FJson* LocationParam = FindParam(Params, "location");
	const FJson* RotationParam = FindParam(Params, "rotation");
	if (!LocationParam && !RotationParam) return Fail("At least one of 'location' or 'rotation' is required");
	std::optional<FVector> Location;
	if (LocationParam)
	{
		Location = ReadFiniteVector3(*LocationParam);
		if (!Location) return Fail("'location' must be a length-3 numeric array with finite values");
	}
	std::optional<FVector> Rotation;
	if (RotationParam)
	{
		Rotation = ReadFiniteVector3(*RotationParam);
		if (!Rotation) return Fail("'rotation' must be a length-3 [pitch,yaw,roll] numeric array with finite values");
	}
	FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail(NoActiveViewport);

	if (Location) Client->SetViewLocation(*Location);
	if (Rotation) Client->SetViewRotation(FRotator(Rotation->X, Rotation->Y, Rotation->Z));
	Client->Invalidate();
	TW_LOG(LogTarnwick, Log, "editor.move_camera: loc=%d rot=%d", Location ? 1 : 0, Rotation ? 1 : 0);
	return Succeeded();
}

FTarnwickActionResult LookAt(const FJsonPtr& Params)
{
	const FJson* TargetParam = FindParam(Params, "target");
	const std::optional<FVector> Target = TargetParam ? ReadFiniteVector3(*TargetParam) : std::nullopt;
	if (!Target) return Fail("Required 'target' must be a length-3 numeric array with finite values");
	FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail(NoActiveViewport);
	std::optional<double> Distance;
	if (const FJson* DistanceParam = FindParam(Params, "distance"))
	{
		const double Value = DistanceParam->is_number() ? DistanceParam->get<double>() : 0.0;
		if (!(std::isfinite(Value) && Value > 0.0)) return Fail("'distance' must be a positive finite number");
		Distance = Value;
	}

	// Planned whole before anything moves, so a refused look-at leaves the camera where it was.
	const std::optional<FLookAtPlacement> Placement = PlanLookAt(Client->GetViewLocation(), *Target, Distance);
	if (!Placement) return Fail("Camera is at the target");
	Client->SetViewLocation(Placement->Location);
	Client->SetViewRotation(Placement->Rotation);
	Client->Invalidate();
	TW_LOG(LogTarnwick, Log, "editor.look_at: target=(%.1f,%.1f,%.1f) camera=(%.1f,%.1f,%.1f) rotation=(%.1f,%.1f,%.1f)",
		Target->X, Target->Y, Target->Z, Placement->Location.X, Placement->Location.Y, Placement->Location.Z,
		Placement->Rotation.Pitch, Placement->Rotation.Yaw, Placement->Rotation.Roll);

	FJson Out = FJson::object();
	Out["success"] = true;
	Out["target"] = VectorToJson(*Target);
	Out["camera_location"] = VectorToJson(Placement->Location);
	Out["camera_rotation"] = RotatorToJson(Placement->Rotation);
	if (Distance) Out["distance"] = *Distance;
	return FTarnwickActionResult::Success(std::move(Out));
}

FTarnwickActionResult SetFov(const FJsonPtr& Params)
{
	FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail(NoActiveViewport);
	const FJson* FovParam = FindParam(Params, "fov");
	if (!FovParam || !FovParam->is_number() || !std::isfinite(FovParam->get<double>()))
	{
		return Fail("Required parameter 'fov' is missing or non-finite");
	}
	const double Fov = ClampFov(FovParam->get<double>());
	Client->SetViewFOV(static_cast<float>(Fov));
	Client->Invalidate();
	TW_LOG(LogTarnwick, Log, "editor.set_fov: %.1f", Fov);
	return Succeeded();
}

FTarnwickActionResult SetViewMode(const FJsonPtr& Params)
{
	const FJson* ModeParam = FindParam(Params, "mode");
	if (!ModeParam || !ModeParam->is_string() || ModeParam->get_ref<const std::string&>().empty())
	{
		return Fail("Required parameter 'mode' is missing or empty");
	}
	const std::string& Requested = ModeParam->get_ref<const std::string&>();
	const FViewModeName* Mode = FindViewMode(Requested);
	if (!Mode)
	{
		return Fail(Tarnwick::Printf("Unknown view mode '%s'. Valid: lit, unlit, wireframe, detail_lighting, lighting_only, "
									 "shader_complexity, lightmap_density, reflections, collision_pawn, collision_visibility, "
									 "lod, quad_overdraw.",
			Requested.c_str()));
	}
	FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail(NoActiveViewport);
	Client->SetViewModeIndex(Mode->Index);
	Client->Invalidate();
	TW_LOG(LogTarnwick, Log, "editor.set_view_mode: %s (idx=%d)", Mode->Name, Mode->Index);
	return FTarnwickActionResult::Success(FJson{{"success", true}, {"mode", Mode->Name}, {"view_mode_index", Mode->Index}});
}

/** toggle_realtime and toggle_game_view: the same shape over a different flag. */
template <typename FGet, typename FSet>
FTarnwickActionResult Toggle(const FJsonPtr& Params, const char* Action, FGet Get, FSet Set)
{
	const FToggleRequest Request = ReadToggle(FindParam(Params, "enabled"));
	// A value we cannot read as a state must not quietly become a flip: the caller meant some state.
	if (Request.Kind == FToggleRequest::EKind::Invalid)
	{
		return Fail(Tarnwick::Printf("'enabled' must be true or false (or omitted to flip the current state), got %s",
			FTarnwickJsonUtils::Describe(*FindParam(Params, "enabled")).c_str()));
	}
	FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail(NoActiveViewport);
	const bool bEnabled = Request.Kind == FToggleRequest::EKind::Set ? Request.bState : !Get(*Client);
	Set(*Client, bEnabled);
	Client->Invalidate();
	TW_LOG(LogTarnwick, Log, "editor.%s: %s", Action, bEnabled ? "true" : "false");
	return FTarnwickActionResult::Success(FJson{{"success", true}, {"enabled", bEnabled}});
}

FTarnwickActionResult GetViewportInfo()
{
	const FEditorViewportClient* Client = FindActiveViewportClient();
	if (!Client) return Fail("No active viewport found");
	int32 Index = -1;
	const std::vector<FEditorViewportClient*> Clients = GEditor->GetLevelViewportClients();
	for (size_t I = 0; I < Clients.size(); ++I)
	{
		if (Clients[I] == Client) Index = static_cast<int32>(I);
	}
	const FIntPoint Size = Client->GetViewport()->GetSizeXY();

	FJson Out = FJson::object();
	Out["active_viewport"] = Index;
	Out["width"] = Size.X;
	Out["height"] = Size.Y;
	Out["resolution"] = Tarnwick::Printf("%dx%d", Size.X, Size.Y);
	Out["camera_location"] = VectorToJson(Client->GetViewLocation());
	Out["camera_rotation"] = RotatorToJson(Client->GetViewRotation());
	// The field of view is a float; widened as it stands it would read 75.55000305175781 for 75.55.
	Out["fov"] = FTarnwickJsonUtils::FloatAsShortestDouble(Client->GetViewFOV());
	Out["realtime"] = Client->IsRealtime();
	Out["viewport_type"] = Client->IsPerspective() ? "perspective" : "orthographic";
	Out["view_mode_index"] = Client->GetViewModeIndex();
	Out["game_view"] = Client->IsInGameView();
	return FTarnwickActionResult::Success(std::move(Out));
}
}

void AddViewportHandlers(FTarnwickHandlerTable& Table)
{
	Table.Add("editor", "move_camera", [](const FJsonPtr& Params) { return MoveCamera(Params); });
	Table.Add("editor", "look_at", [](const FJsonPtr& Params) { return LookAt(Params); });
	Table.Add("editor", "set_fov", [](const FJsonPtr& Params) { return SetFov(Params); });
	Table.Add("editor", "set_view_mode", [](const FJsonPtr& Params) { return SetViewMode(Params); });
	Table.Add("editor", "toggle_realtime", [](const FJsonPtr& Params) {
		return Toggle(
			Params, "toggle_realtime", [](const FEditorViewportClient& C) { return C.IsRealtime(); },
			[](FEditorViewportClient& C, bool bOn) { C.SetRealtime(bOn); });
	});
	Table.Add("editor", "toggle_game_view", [](const FJsonPtr& Params) {
		return Toggle(
			Params, "toggle_game_view", [](const FEditorViewportClient& C) { return C.IsInGameView(); },
			[](FEditorViewportClient& C, bool bOn) { C.SetGameView(bOn); });
	});
	Table.Add("editor", "get_viewport_info", [](const FJsonPtr&) { return GetViewportInfo(); });
}
}
