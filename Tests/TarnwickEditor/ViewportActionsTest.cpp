// The viewport actions: their pure rules case by case (view-mode names, the fov clamp, vector and toggle
// reading, the look-at geometry, the choice of viewport), then the handlers on the simulated editor's level
// viewports: every failure message, that a failed call changes nothing, the changes with their log lines, and
// the viewport report.
#include "Logging.h"
#include "SimHost.h"
#include "TarnwickEditorHandlers.h"
#include "TarnwickTestHelpers.h"
#include "Viewport/ActiveViewport.h"
#include "Viewport/ViewportRules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <mutex>
#include <utility>

using namespace Tarnwick::Viewport;
using Tarnwick::Sim::FSimLevelViewportClient;

namespace
{
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

void ExpectNear(const FVector& A, const FVector& B, const char* Where)
{
	EXPECT_TRUE(std::abs(A.X - B.X) < 1e-9 && std::abs(A.Y - B.Y) < 1e-9 && std::abs(A.Z - B.Z) < 1e-9)
		<< Where << ": (" << A.X << "," << A.Y << "," << A.Z << ")";
}

void ExpectNear(const FRotator& A, const FRotator& B, const char* Where)
{
	ExpectNear(FVector(A.Pitch, A.Yaw, A.Roll), FVector(B.Pitch, B.Yaw, B.Roll), Where);
}

/** Collects the LogTarnwick lines logged while it is registered. */
class FTarnwickLines final : public FOutputDevice
{
public:
	FTarnwickLines() { GLog->AddOutputDevice(this); }
	~FTarnwickLines() override { GLog->RemoveOutputDevice(this); }
	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double) override
	{
		std::lock_guard Lock(Mutex);
		if (Category == "LogTarnwick") Lines.push_back(std::string(ToString(Verbosity)) + ": " + std::string(Message));
	}
	std::vector<std::string> Take()
	{
		std::lock_guard Lock(Mutex);
		return std::exchange(Lines, {});
	}

private:
	std::mutex Mutex;
	std::vector<std::string> Lines;
};

class ViewportActionsTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = TARNWICK_SOURCE_DIR "/Samples/Arena";
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
		Tarnwick::Editor::AddViewportHandlers(Table);
		Perspective = Host->GetEditor().GetViewportClient(0);
		ASSERT_TRUE(Perspective && Perspective->IsPerspective());
		Perspective->Viewport.bInvalidated = false;
	}
	void TearDown() override
	{
		Host.reset();
		FRegistryTest::TearDown();
	}
	FTarnwickActionResult Call(const char* Action, const FJson& Params)
	{
		return (*Table.Find("editor", Action))(MakeJsonObject(Params));
	}
	FJson Succeed(const char* Action, const char* Params = "{}") { return Succeed(Action, FJson::parse(Params)); }
	FJson Succeed(const char* Action, const FJson& Params)
	{
		const FTarnwickActionResult R = Call(Action, Params);
		EXPECT_TRUE(R.bSuccess) << Action << ": " << R.ErrorMessage;
		return R.Result ? *R.Result : FJson();
	}
	void ExpectFailure(const char* Action, const char* Params, const std::string& Message)
	{
		ExpectFailure(Action, FJson::parse(Params), Message);
	}
	void ExpectFailure(const char* Action, const FJson& Params, const std::string& Message)
	{
		const FTarnwickActionResult R = Call(Action, Params);
		EXPECT_FALSE(R.bSuccess) << Action << " " << Params.dump();
		EXPECT_EQ(R.ErrorCode, -32603) << Action << " " << Params.dump();
		EXPECT_EQ(R.ErrorMessage, Message) << Action << " " << Params.dump();
	}

	FTarnwickLines Log;
	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	FTarnwickHandlerTable Table;
	FSimLevelViewportClient* Perspective = nullptr;
};
}

TEST(ViewportRulesTest, ViewModeNamesIgnoreCaseAndNothingElse)
{
	const std::pair<const char*, int32> Cases[] = {{"lit", 3}, {"unlit", 2}, {"wireframe", 0}, {"detail_lighting", 4},
		{"lighting_only", 5}, {"shader_complexity", 8}, {"lightmap_density", 9}, {"reflections", 11}, {"collision_pawn", 15},
		{"collision_visibility", 16}, {"lod", 18}, {"quad_overdraw", 19}, {"Wireframe", 0}, {"LIT", 3}, {"", -1},
		{" lit", -1}, {"lit ", -1}, {"wire", -1}, {"brush_wireframe", -1}, {"detail lighting", -1}};
	for (const auto& [Name, Index] : Cases)
	{
		const FViewModeName* Mode = FindViewMode(Name);
		EXPECT_EQ(Mode ? Mode->Index : -1, Index) << "'" << Name << "'";
	}
	EXPECT_EQ(GetViewModeNames().size(), 12u);
	EXPECT_STREQ(FindViewMode("WireFrame")->Name, "wireframe");

	EXPECT_EQ(ClampFov(4.999), 5.0);
	EXPECT_EQ(ClampFov(170.001), 170.0);
}

TEST(ViewportRulesTest, VectorsAreThreeFiniteNumbersAndTogglesBoolsOrTheirText)
{
	for (const char* Valid : {"[1, 2, 3]", "[-1.5, 0, 1e300]"}) EXPECT_TRUE(ReadFiniteVector3(FJson::parse(Valid))) << Valid;
	for (const char* Invalid : {"[1, 2]", "[1, 2, 3, 4]", "[]", R"([1, "2", 3])", "[1, null, 3]", "[1, true, 3]", "[[1], 2, 3]",
			 R"({"x": 1, "y": 2, "z": 3})", R"("1,2,3")", "7"})
	{
		EXPECT_FALSE(ReadFiniteVector3(FJson::parse(Invalid))) << Invalid;
	}
	EXPECT_FALSE(ReadFiniteVector3(FJson::array({1.0, NaN, 3.0})));
	EXPECT_FALSE(ReadFiniteVector3(FJson::array({1.0, 2.0, -Inf})));
	EXPECT_EQ(*ReadFiniteVector3(FJson::parse("[-1.5, 0, 7]")), FVector(-1.5, 0.0, 7.0));

	using EKind = FToggleRequest::EKind;
	struct FToggleCase
	{
		const char* Params;
		EKind Kind;
		bool bState;
	};
	const FToggleCase Toggles[] = {{"{}", EKind::Flip, false}, {R"({"enabled": null})", EKind::Flip, false},
		{R"({"enabled": true})", EKind::Set, true}, {R"({"enabled": false})", EKind::Set, false},
		{R"({"enabled": "TRUE"})", EKind::Set, true}, {R"({"enabled": "False"})", EKind::Set, false},
		{R"({"enabled": "yes"})", EKind::Invalid, false}, {R"({"enabled": 1})", EKind::Invalid, false},
		{R"({"enabled": 0})", EKind::Invalid, false}, {R"({"enabled": ""})", EKind::Invalid, false},
		{R"({"enabled": [true]})", EKind::Invalid, false}, {R"({"enabled": {}})", EKind::Invalid, false}};
	for (const FToggleCase& Case : Toggles)
	{
		const FToggleRequest Request = ReadToggle(FindParam(MakeJsonObject(FJson::parse(Case.Params)), "enabled"));
		EXPECT_EQ(Request.Kind, Case.Kind) << Case.Params;
		EXPECT_EQ(Request.bState, Case.bState) << Case.Params;
	}
}

TEST(ViewportRulesTest, LookAtPlacesTheCameraAndAimsItAsTheEngineOrientsAVector)
{
	const std::pair<FVector, FRotator> Orientations[] = {{{1, 0, 0}, {0, 0, 0}}, {{0, 1, 0}, {0, 90, 0}},
		{{0, -1, 0}, {0, -90, 0}}, {{-1, 0, 0}, {0, 180, 0}}, {{0, 0, 1}, {90, 0, 0}}, {{0, 0, -5}, {-90, 0, 0}},
		{{1, 1, std::sqrt(2.0)}, {45, 45, 0}}, {{-3, 0, -3}, {-45, 180, 0}}};
	for (const auto& [Direction, Expected] : Orientations) ExpectNear(OrientationRotator(Direction), Expected, "orientation");

	struct FCase
	{
		const char* Name;
		FVector Camera;
		FVector Target;
		std::optional<double> Distance;
		std::optional<FLookAtPlacement> Expected;
	};
	const FVector T(100, 200, 50);
	const FCase Cases[] = {
		{"turns in place", {0, 0, 100}, {0, 0, 0}, std::nullopt, FLookAtPlacement{{0, 0, 100}, {-90, 0, 0}}},
		{"moves onto the line", {0, 0, 0}, {100, 0, 0}, 30.0, FLookAtPlacement{{70, 0, 0}, {0, 0, 0}}},
		{"from the far side", {300, 200, 50}, T, 50.0, FLookAtPlacement{{150, 200, 50}, {0, 180, 0}}},
		{"at the target", T, T, std::nullopt, std::nullopt},
		{"within tolerance", {100.00005, 200, 50}, T, std::nullopt, std::nullopt},
		{"outside tolerance", {100.0002, 200, 50}, T, std::nullopt, FLookAtPlacement{{100.0002, 200, 50}, {0, 180, 0}}},
		// With no direction to keep, the camera backs off along +X.
		{"at the target with a distance", T, T, 10.0, FLookAtPlacement{{90, 200, 50}, {0, 0, 0}}},
		{"squared length 0.0001 is not normalised", {100, 200.01, 50}, T, 10.0, FLookAtPlacement{{90, 200, 50}, {0, 0, 0}}},
		{"just above it is", {100, 200.011, 50}, T, 10.0, FLookAtPlacement{{100, 210, 50}, {0, -90, 0}}},
		{"a tiny distance stays at the target", {0, 0, 0}, {100, 0, 0}, 0.00005, std::nullopt},
	};
	for (const FCase& C : Cases)
	{
		const std::optional<FLookAtPlacement> Plan = PlanLookAt(C.Camera, C.Target, C.Distance);
		ASSERT_EQ(Plan.has_value(), C.Expected.has_value()) << C.Name;
		if (!Plan) continue;
		ExpectNear(Plan->Location, C.Expected->Location, C.Name);
		ExpectNear(Plan->Rotation, C.Expected->Rotation, C.Name);
	}
}

TEST(ViewportRulesTest, TheActiveViewportIsTheCurrentOneWhenShownElseTheFirstShown)
{
	FSimLevelViewportClient Shown(0, ELevelViewportType::LVT_Perspective, {1280, 720});
	FSimLevelViewportClient Hidden(1, ELevelViewportType::LVT_OrthoXY, {0, 0});
	FSimLevelViewportClient Side(2, ELevelViewportType::LVT_OrthoXZ, {640, 480});
	FSimLevelViewportClient NoHeight(3, ELevelViewportType::LVT_OrthoYZ, {1, 0});
	FSimLevelViewportClient OnePixel(4, ELevelViewportType::LVT_Perspective, {1, 1});
	struct FCase
	{
		FEditorViewportClient* Current;
		std::vector<FEditorViewportClient*> Clients;
		FEditorViewportClient* Expected;
	};
	const FCase Cases[] = {
		{&Side, {&Shown, &Hidden, &Side}, &Side},
		{&Hidden, {&Shown, &Hidden, &Side}, &Shown},
		{&Hidden, {&Hidden, &NoHeight, &Side, &Shown}, &Side},
		{nullptr, {&Hidden, &Shown}, &Shown},
		{&NoHeight, {&NoHeight, &OnePixel}, &OnePixel},
		{&Shown, {}, &Shown},
		{&Hidden, {&Hidden, &NoHeight}, nullptr},
		{nullptr, {}, nullptr},
	};
	for (size_t I = 0; I < std::size(Cases); ++I)
	{
		EXPECT_EQ(ChooseActiveViewportClient(Cases[I].Current, Cases[I].Clients), Cases[I].Expected) << "case " << I;
	}
}

TEST_F(ViewportActionsTest, MoveCameraChecksEverythingBeforeItSetsWhatIsGiven)
{
	const FVector Location = Perspective->GetViewLocation();
	const FRotator Rotation = Perspective->GetViewRotation();
	const char* AtLeastOne = "At least one of 'location' or 'rotation' is required";
	const char* BadLocation = "'location' must be a length-3 numeric array with finite values";
	const char* BadRotation = "'rotation' must be a length-3 [pitch,yaw,roll] numeric array with finite values";
	ExpectFailure("move_camera", "{}", AtLeastOne);
	ExpectFailure("move_camera", R"({"location": null, "rotation": null})", AtLeastOne);
	ExpectFailure("move_camera", R"({"location": "1,2,3", "rotation": [0, 0, 0]})", BadLocation);
	ExpectFailure("move_camera", FJson{{"location", FJson::array({1.0, Inf, 3.0})}}, BadLocation);
	ExpectFailure("move_camera", R"({"location": [1, 2, 3], "rotation": [0, 0]})", BadRotation);
	EXPECT_EQ(Perspective->GetViewLocation(), Location);
	EXPECT_EQ(Perspective->GetViewRotation(), Rotation);
	EXPECT_FALSE(Perspective->Viewport.bInvalidated);

	EXPECT_EQ(Succeed("move_camera", R"({"location": [10, -20, 30.5]})"), FJson::parse(R"({"success": true})"));
	EXPECT_EQ(Perspective->GetViewLocation(), FVector(10, -20, 30.5));
	EXPECT_EQ(Perspective->GetViewRotation(), Rotation);
	EXPECT_TRUE(Perspective->Viewport.bInvalidated);
	Succeed("move_camera", R"({"rotation": [-10, 45, 5]})");
	EXPECT_EQ(Perspective->GetViewLocation(), FVector(10, -20, 30.5));
	EXPECT_EQ(Perspective->GetViewRotation(), FRotator(-10, 45, 5));
	Succeed("move_camera", R"({"location": [1, 2, 3], "rotation": [0, 90, 0]})");
	EXPECT_EQ(Log.Take(), (std::vector<std::string>{"Log: editor.move_camera: loc=1 rot=0", "Log: editor.move_camera: loc=0 rot=1",
							  "Log: editor.move_camera: loc=1 rot=1"}));
}

TEST_F(ViewportActionsTest, AHiddenCurrentViewportFallsBackAndNoneShownFailsEveryAction)
{
	// The user last clicked a collapsed orthographic viewport: the shown perspective one is steered.
	Host->GetEditor().SetCurrentViewportClient(1);
	Succeed("move_camera", R"({"location": [5, 5, 5]})");
	EXPECT_EQ(Perspective->GetViewLocation(), FVector(5, 5, 5));

	// Only an orthographic viewport is shown: its orthographic camera moves, the perspective one stays.
	FSimLevelViewportClient* Side = Host->GetEditor().GetViewportClient(2);
	Perspective->Viewport.Resize({0, 0});
	Side->Viewport.Resize({800, 600});
	Succeed("move_camera", R"({"location": [7, 8, 9]})");
	EXPECT_EQ(Side->OrthoLocation, FVector(7, 8, 9));
	EXPECT_EQ(Perspective->PerspectiveLocation, FVector(5, 5, 5));
	const FJson Info = Succeed("get_viewport_info");
	EXPECT_EQ(Info["active_viewport"], 2);
	EXPECT_EQ(Info["resolution"], "800x600");
	EXPECT_EQ(Info["viewport_type"], "orthographic");

	Side->Viewport.Resize({0, 0});
	Log.Take();
	const char* NoViewport = "No active editor viewport";
	ExpectFailure("move_camera", R"({"location": [1, 2, 3]})", NoViewport);
	ExpectFailure("look_at", R"({"target": [1, 2, 3]})", NoViewport);
	ExpectFailure("set_fov", "{}", NoViewport); // the viewport is looked for before the parameter is read
	ExpectFailure("set_view_mode", R"({"mode": "lit"})", NoViewport);
	ExpectFailure("toggle_realtime", "{}", NoViewport);
	ExpectFailure("toggle_game_view", R"({"enabled": true})", NoViewport);
	ExpectFailure("get_viewport_info", "{}", "No active viewport found");
	EXPECT_TRUE(Log.Take().empty());
}

TEST_F(ViewportActionsTest, LookAtValidatesAimsAndReportsTheNewCamera)
{
	const char* BadTarget = "Required 'target' must be a length-3 numeric array with finite values";
	ExpectFailure("look_at", "{}", BadTarget);
	ExpectFailure("look_at", R"({"target": [1, 2]})", BadTarget);
	ExpectFailure("look_at", FJson{{"target", FJson::array({NaN, 0.0, 0.0})}}, BadTarget);
	for (const FJson& Distance : {FJson(0), FJson(-5), FJson("10"), FJson(true), FJson(Inf)})
	{
		ExpectFailure("look_at", FJson{{"target", {1, 2, 3}}, {"distance", Distance}}, "'distance' must be a positive finite number");
	}

	// Exactly at the target with no distance: refused, and the camera is left as it was.
	Perspective->SetViewLocation(FVector(100, 0, 100));
	Perspective->SetViewRotation(FRotator(1, 2, 3));
	ExpectFailure("look_at", R"({"target": [100, 0, 100]})", "Camera is at the target");
	EXPECT_EQ(Perspective->GetViewLocation(), FVector(100, 0, 100));
	EXPECT_EQ(Perspective->GetViewRotation(), FRotator(1, 2, 3));
	EXPECT_FALSE(Perspective->Viewport.bInvalidated);
	EXPECT_TRUE(Log.Take().empty());

	Perspective->SetViewLocation(FVector(0, 0, 0));
	EXPECT_EQ(Succeed("look_at", R"({"target": [100, 0, 100]})"), FJson::parse(R"({"success": true,
		"target": [100.0, 0.0, 100.0], "camera_location": [0.0, 0.0, 0.0], "camera_rotation": [45.0, 0.0, 0.0]})"));
	EXPECT_TRUE(Perspective->Viewport.bInvalidated);
	EXPECT_EQ(Succeed("look_at", R"({"target": [100, 0, 100], "distance": 50})")["distance"], 50.0);
	const double Back = 50 / std::sqrt(2.0);
	ExpectNear(Perspective->GetViewLocation(), FVector(100 - Back, 0, 100 - Back), "moved along the line");
	ExpectNear(Perspective->GetViewRotation(), FRotator(45, 0, 0), "still aimed");
	for (const std::string& Line : Log.Take()) EXPECT_EQ(Line.rfind("Log: editor.look_at: target=(100.0,0.0,100.0) ", 0), 0u) << Line;
}

TEST_F(ViewportActionsTest, FovAndViewModeAreCheckedClampedAndStored)
{
	const char* NoFov = "Required parameter 'fov' is missing or non-finite";
	for (const char* Params : {"{}", R"({"fov": null})", R"({"fov": "60"})"}) ExpectFailure("set_fov", Params, NoFov);
	ExpectFailure("set_fov", FJson{{"fov", NaN}}, NoFov);
	const char* NoMode = "Required parameter 'mode' is missing or empty";
	for (const char* Params : {"{}", R"({"mode": ""})", R"({"mode": 3})"}) ExpectFailure("set_view_mode", Params, NoMode);
	ExpectFailure("set_view_mode", R"({"mode": "bogus"})",
		"Unknown view mode 'bogus'. Valid: lit, unlit, wireframe, detail_lighting, lighting_only, shader_complexity, "
		"lightmap_density, reflections, collision_pawn, collision_visibility, lod, quad_overdraw.");
	EXPECT_EQ(Perspective->GetViewFOV(), 90.0f);
	EXPECT_EQ(Perspective->GetViewModeIndex(), 3);
	EXPECT_FALSE(Perspective->Viewport.bInvalidated);

	for (const auto& [Requested, Stored] : {std::pair{1.0, 5.0f}, std::pair{200.0, 170.0f}, std::pair{75.5, 75.5f}})
	{
		EXPECT_EQ(Succeed("set_fov", FJson{{"fov", Requested}}), FJson::parse(R"({"success": true})"));
		EXPECT_EQ(Perspective->GetViewFOV(), Stored) << Requested;
	}
	EXPECT_EQ(Succeed("set_view_mode", R"({"mode": "Wireframe"})"),
		FJson::parse(R"({"success": true, "mode": "wireframe", "view_mode_index": 0})"));
	EXPECT_EQ(Perspective->GetViewModeIndex(), 0);
	EXPECT_TRUE(Perspective->Viewport.bInvalidated);
	EXPECT_EQ(Log.Take(), (std::vector<std::string>{"Log: editor.set_fov: 5.0", "Log: editor.set_fov: 170.0",
							  "Log: editor.set_fov: 75.5", "Log: editor.set_view_mode: wireframe (idx=0)"}));
}

TEST_F(ViewportActionsTest, TogglesFlipOrSetTheirFlag)
{
	ASSERT_TRUE(Perspective->IsRealtime());
	EXPECT_EQ(Succeed("toggle_realtime"), FJson::parse(R"({"success": true, "enabled": false})"));
	EXPECT_EQ(Succeed("toggle_realtime")["enabled"], true);
	EXPECT_EQ(Succeed("toggle_realtime", R"({"enabled": true})")["enabled"], true) << "a given state is set, not flipped";
	EXPECT_EQ(Succeed("toggle_realtime", R"({"enabled": "false"})")["enabled"], false);
	EXPECT_FALSE(Perspective->IsRealtime());

	ASSERT_FALSE(Perspective->IsInGameView());
	EXPECT_EQ(Succeed("toggle_game_view"), FJson::parse(R"({"success": true, "enabled": true})"));
	EXPECT_TRUE(Perspective->IsInGameView());
	EXPECT_EQ(Succeed("toggle_game_view", R"({"enabled": false})")["enabled"], false);
	EXPECT_FALSE(Perspective->IsInGameView());
	EXPECT_FALSE(Perspective->IsRealtime()) << "each toggle keeps to its own flag";

	// A present value that is not a state is refused, never taken as a flip, and changes nothing.
	ExpectFailure("toggle_realtime", R"({"enabled": 1})",
		"'enabled' must be true or false (or omitted to flip the current state), got the number 1");
	ExpectFailure("toggle_game_view", R"({"enabled": "yes"})",
		"'enabled' must be true or false (or omitted to flip the current state), got the string \"yes\"");
	EXPECT_FALSE(Perspective->IsRealtime());
	EXPECT_FALSE(Perspective->IsInGameView());
	EXPECT_EQ(Log.Take(), (std::vector<std::string>{"Log: editor.toggle_realtime: false", "Log: editor.toggle_realtime: true",
							  "Log: editor.toggle_realtime: true", "Log: editor.toggle_realtime: false",
							  "Log: editor.toggle_game_view: true", "Log: editor.toggle_game_view: false"}));
}

TEST_F(ViewportActionsTest, ViewportInfoReportsTheActiveViewportInKeyOrder)
{
	Succeed("move_camera", R"({"location": [1, 2, 3], "rotation": [-20, 90, 0]})");
	Succeed("set_fov", R"({"fov": 60})");
	Log.Take();
	// Compared as ordered JSON, so the key order is checked too.
	EXPECT_EQ(Succeed("get_viewport_info"), FJson::parse(R"({"active_viewport": 0, "width": 1280, "height": 720,
		"resolution": "1280x720", "camera_location": [1.0, 2.0, 3.0], "camera_rotation": [-20.0, 90.0, 0.0], "fov": 60.0,
		"realtime": true, "viewport_type": "perspective", "view_mode_index": 3, "game_view": false})"));
	EXPECT_TRUE(Log.Take().empty());

	// A field of view that is not a whole number reads as the float it is stored as.
	Succeed("set_fov", R"({"fov": 75.55})");
	EXPECT_EQ(FTarnwickJsonUtils::Write(Succeed("get_viewport_info")["fov"]), "75.55");
}
