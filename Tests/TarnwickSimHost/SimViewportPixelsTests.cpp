// Pixels of the simulated editor's viewports, read back as the capture code reads them and decoded from the PNG
// files it writes: the level viewport over the Arena, the PIE view through the hero's camera and through a
// chosen view target, a moving hero, view modes, and the hidden editor that leaves every viewport black.
#include "SimTestUtils.h"

#include "ImageUtils.h"
#include "PixelBlobs.h"
#include "PngTestUtils.h"

#include <filesystem>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;
using Tarnwick::Test::FBlob;
using Tarnwick::Test::FDecodedPng;
using Tarnwick::Test::FindBlob;
using Tarnwick::Test::FindBlobAt;

namespace
{
/** Reads a viewport back, forces alpha as the capture does, writes it as PNG and decodes the file. */
FDecodedPng Capture(FViewport* Viewport, const std::string& Name)
{
	FDecodedPng Out;
	std::vector<FColor> Pixels;
	EXPECT_TRUE(Viewport && Viewport->ReadPixels(Pixels));
	if (!Viewport) return Out;
	const FIntPoint Size = Viewport->GetSizeXY();
	EXPECT_EQ(Pixels.size(), static_cast<size_t>(Size.X) * static_cast<size_t>(Size.Y));
	for (FColor& C : Pixels) C.A = 255;
	const std::string File =
		(std::filesystem::temp_directory_path() / ("tarnwick_pixels_" + std::to_string(::getpid())) / (Name + ".png")).string();
	EXPECT_TRUE(FImageUtils::SaveImageByExtension(File, FImageView(Pixels, Size.X, Size.Y)));
	std::string Error;
	EXPECT_TRUE(Tarnwick::Test::DecodePngFile(File, Out, &Error)) << Error;
	std::filesystem::remove(File);
	return Out;
}

/** The hero is drawn in SK_Hero's colour (60, 200, 90); shading scales all three channels alike. The enemy shares
 * the mesh and so the colour, which is why the hero is found as the patch around a pixel known to be its own. */
bool IsHero(const FColor& C) { return C.G > 1.8 * C.R && C.G > 1.6 * C.B; }
/** The Ball is the basic sphere's red (220, 60, 60); the crates' orange (200, 120, 60) is not. */
bool IsBall(const FColor& C) { return C.R > 2.5 * C.G && C.R > 2.5 * C.B; }

UWorld* StartPie(FSimHost& Host)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	EXPECT_TRUE(Host.StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
	Host.StepFrame();
	return GEditor->GetPlayWorld();
}

AActor* Hero(UWorld* World)
{
	APlayerController* PC = World ? World->GetFirstPlayerController() : nullptr;
	return PC ? PC->GetPawn() : nullptr;
}
}

TEST(SimViewportPixels, TheHerosCameraSeesTheHeroBelowTheCentre)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPie(*Host);
	ASSERT_TRUE(Hero(Pie));
	EXPECT_EQ(Pie->GetFirstPlayerController()->GetViewTarget(), Hero(Pie));
	const FDecodedPng Image = Capture(GEditor->GetGameViewport(), "hero_camera");
	ASSERT_EQ(Image.Width, 1280);
	ASSERT_EQ(Image.Height, 720);
	// FollowCamera sits 350 behind and 120 above the hero's centre, pitched down 12 degrees, 90 degree field of view:
	// the capsule (radius 34, half height 88) spans rows ~284 to ~577 of column 640, centred near row 438.
	EXPECT_TRUE(IsHero(Image.At(640, 438)));
	EXPECT_TRUE(IsHero(Image.At(640, 300)));
	EXPECT_TRUE(IsHero(Image.At(640, 565)));
	EXPECT_FALSE(IsHero(Image.At(640, 270)));
	EXPECT_FALSE(IsHero(Image.At(640, 590)));
	EXPECT_FALSE(IsHero(Image.At(560, 438))) << "34 units of radius at ~370 depth is ~59 pixels";
	EXPECT_TRUE(IsHero(Image.At(600, 438)));
	EXPECT_EQ(Image.At(640, 20), SimRenderConstants::SkyColor);
	const FBlob Blob = FindBlobAt(Image, 640, 438, IsHero);
	EXPECT_NEAR(Blob.X, 640.0, 2.0);
	EXPECT_FALSE(Image.IsUniformRGB());
}

TEST(SimViewportPixels, AChosenViewTargetMovesTheCameraAndAMovingHeroMovesInTheImage)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPie(*Host);
	APlayerController* PC = Pie->GetFirstPlayerController();
	AActor* Overview = FindActor(Pie, "CameraActor_0");
	ASSERT_TRUE(Overview);
	const FDecodedPng Own = Capture(GEditor->GetGameViewport(), "own");
	PC->SetViewTarget(Overview);
	EXPECT_EQ(PC->GetViewTarget(), Overview);
	Host->StepFrame();
	const FDecodedPng First = Capture(GEditor->GetGameViewport(), "overview_0");
	EXPECT_GT(First.CountDifferentPixels(Own), First.Pixels.size() / 4);

	// At the PlayerStart the hero stands almost under the overview camera, cut by the bottom edge; 500 units
	// further on it stands whole, higher in the image. Each time the hero's patch is the one around where the
	// renderer projects the top of its capsule (the enemy wears the same colour elsewhere in the view).
	AActor* Pawn = Hero(Pie);
	const FSimRenderCamera Camera = FSimRenderCamera::Perspective(Overview->GetActorLocation(), Overview->GetActorRotation(), 75.0);
	auto HeroPatch = [&](const FDecodedPng& Image) {
		double X = 0, Y = 0, Depth = 0;
		const FVector At = Pawn->GetActorLocation();
		EXPECT_TRUE(ProjectToScreen(Camera, FIntPoint{1280, 720}, FVector(At.X, At.Y, At.Z + 80.0), X, Y, Depth));
		return FindBlobAt(Image, static_cast<int32>(X), static_cast<int32>(Y), IsHero);
	};
	const FBlob Before = HeroPatch(First);
	ASSERT_GT(Before.Count, 100u);
	Pawn->SetActorLocation(FVector(-300, 0, 92));
	Host->StepFrame();
	const FDecodedPng Second = Capture(GEditor->GetGameViewport(), "overview_1");
	const FBlob After = HeroPatch(Second);
	ASSERT_GT(After.Count, 100u);
	EXPECT_GT(Second.CountDifferentPixels(First), 1000u);
	EXPECT_GT(Before.Y, 680.0);
	EXPECT_EQ(Before.MaxY, 719) << "cut by the bottom edge";
	EXPECT_LT(After.Y, Before.Y - 50.0);
	EXPECT_LT(After.MaxY, 719);
	EXPECT_NEAR(After.X, 640.0, 3.0);

	// Where the renderer says the hero's centre lands is inside the hero's pixels.
	double X = 0, Y = 0, Depth = 0;
	ASSERT_TRUE(ProjectToScreen(Camera, FIntPoint{1280, 720}, Pawn->GetActorLocation(), X, Y, Depth));
	EXPECT_TRUE(IsHero(Second.At(static_cast<int32>(X), static_cast<int32>(Y))));

	// A destroyed view target hands the view back to the pawn; null makes the controller the view target.
	Pie->DestroyActor(Overview);
	EXPECT_EQ(PC->GetViewTarget(), Pawn);
	PC->SetViewTarget(nullptr);
	EXPECT_EQ(PC->GetViewTarget(), PC);
}

TEST(SimViewportPixels, TheFollowCameraMovesWithTheHeroSoConsecutiveFramesDiffer)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPie(*Host);
	AActor* Pawn = Hero(Pie);
	UActorComponent* Move = Cast<UActorComponent>(ReadProperty(Pawn, "CharacterMovement").ObjectValue.Get());
	ASSERT_TRUE(Move);
	std::string Error;
	ASSERT_TRUE(Move->SetPropertyValue(*Move->GetClass()->FindPropertyByName("Velocity"), FPropertyValue::MakeVector(FVector(400, 0, 0)), &Error));
	Host->StepFrame();
	const FDecodedPng A = Capture(GEditor->GetGameViewport(), "walk_0");
	Host->StepFrames(15);
	const FDecodedPng B = Capture(GEditor->GetGameViewport(), "walk_1");
	EXPECT_GT(B.CountDifferentPixels(A), 1000u);
	// The hero stays in the middle of its own camera's view.
	EXPECT_TRUE(IsHero(B.At(640, 438)));
}

TEST(SimViewportPixels, LevelViewportModesDifferAndAnUnsupportedModeDrawsLitWithOneWarning)
{
	FLogRecorder Log;
	auto Host = MakeArenaHost();
	FSimLevelViewportClient* Client = Host->GetEditor().GetViewportClient(0);
	Host->StepFrame();
	const FDecodedPng Lit = Capture(&Client->Viewport, "lit");
	EXPECT_FALSE(Lit.IsUniformRGB());
	const FBlob LitBall = FindBlob(Lit, IsBall);
	EXPECT_GT(LitBall.Count, 50u);

	Client->SetViewModeIndex(EViewModeIndex::VMI_BrushWireframe);
	Host->StepFrame();
	const FDecodedPng Wire = Capture(&Client->Viewport, "wire");
	EXPECT_GT(Wire.CountDifferentPixels(Lit), Lit.Pixels.size() / 2);
	EXPECT_EQ(Wire.At(640, 20), FColor(0, 0, 0));

	Client->SetViewModeIndex(EViewModeIndex::VMI_Unlit);
	Host->StepFrame();
	const FDecodedPng Unlit = Capture(&Client->Viewport, "unlit");
	// Unlit shows the mesh colour itself: the Ball's centre is exactly the basic sphere's red.
	const FBlob UnlitBall = FindBlob(Unlit, IsBall);
	EXPECT_EQ(Unlit.At(static_cast<int32>(UnlitBall.X), static_cast<int32>(UnlitBall.Y)), FColor(220, 60, 60));

	Client->SetViewModeIndex(EViewModeIndex::VMI_ShaderComplexity);
	Host->StepFrames(2);
	const FDecodedPng Fallback = Capture(&Client->Viewport, "fallback");
	EXPECT_EQ(Fallback.CountDifferentPixels(Lit), 0u);
	int Warnings = 0;
	for (const auto& L : Log.Snapshot())
	{
		Warnings += L.Category == "LogRenderer" && L.Message == "View mode Shader Complexity (8) is not drawn by this renderer; drawing it Lit";
	}
	EXPECT_EQ(Warnings, 1);
}

TEST(SimViewportPixels, GameVisibilityHidesActorsInPieButNotInTheEditorView)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPie(*Host);
	Pie->GetFirstPlayerController()->SetViewTarget(FindActor(Pie, "CameraActor_0"));
	Host->StepFrame();
	EXPECT_GT(FindBlob(Capture(GEditor->GetGameViewport(), "ball"), IsBall).Count, 50u);
	AActor* Ball = FindActor(Pie, "Ball");
	std::string Error;
	ASSERT_TRUE(Ball->SetPropertyValue(*Ball->GetClass()->FindPropertyByName("bHidden"), FPropertyValue::MakeBool(true), &Error));
	Host->StepFrame();
	EXPECT_EQ(FindBlob(Capture(GEditor->GetGameViewport(), "no_ball"), IsBall).Count, 0u);
	// The editor viewport draws the editor world, and the editor shows actors hidden in game.
	AActor* EditorBall = FindActor(GEditor->GetEditorWorld(), "Ball");
	ASSERT_TRUE(EditorBall->SetPropertyValue(*EditorBall->GetClass()->FindPropertyByName("bHidden"), FPropertyValue::MakeBool(true), &Error));
	Host->StepFrame();
	EXPECT_GT(FindBlob(Capture(&Host->GetEditor().GetViewportClient(0)->Viewport, "editor_ball"), IsBall).Count, 50u);
}

TEST(SimViewportPixels, ReadBackFollowsDrawsAndCountsWhatWasDrawn)
{
	auto Host = MakeArenaHost();
	FSimLevelViewportClient* Client = Host->GetEditor().GetViewportClient(0);
	std::vector<FColor> Pixels;
	// Before the first frame nothing was drawn: black.
	ASSERT_TRUE(Client->Viewport.ReadPixels(Pixels));
	EXPECT_EQ(Pixels.size(), 1280u * 720u);
	EXPECT_EQ(Pixels.front(), FColor(0, 0, 0, 0));
	Host->StepFrame();
	EXPECT_EQ(Host->GetEditor().GetLastDrawStats().DrawCalls, 6) << "floor, two crates, pillar, ball, the enemy's capsule";
	// The render target keeps the drawn size until the next draw.
	Client->Viewport.Resize(FIntPoint{320, 200});
	ASSERT_TRUE(Client->Viewport.ReadPixels(Pixels));
	EXPECT_EQ(Pixels.size(), 1280u * 720u);
	Host->StepFrame();
	ASSERT_TRUE(Client->Viewport.ReadPixels(Pixels));
	EXPECT_EQ(Pixels.size(), 320u * 200u);
	// A viewport that is not shown has nothing to read.
	EXPECT_FALSE(Host->GetEditor().GetViewportClient(1)->Viewport.ReadPixels(Pixels));
	EXPECT_TRUE(Pixels.empty());

	// While PIE loads the game viewport has no player to look through; once it plays, it draws what the editor
	// view draws and the hero: 6 + 7.
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame();
	ASSERT_TRUE(GEditor->GetGameViewport()->ReadPixels(Pixels));
	for (const FColor& C : Pixels) ASSERT_EQ(C, FColor(0, 0, 0));
	Host->StepUntil([] { return GEditor->GetPlayWorld()->HasBegunPlay(); }, 10);
	Host->StepFrame();
	EXPECT_EQ(Host->GetEditor().GetLastDrawStats().DrawCalls, 13);
	EXPECT_GT(Host->GetEditor().GetLastDrawStats().PrimitivesDrawn, 1000);
}

TEST(SimViewportPixels, AHiddenEditorDrawsNothingAndEveryViewportReadsBackBlack)
{
	FLogRecorder Log;
	FSimHostOptions Options;
	Options.bHiddenEditor = true;
	auto Host = MakeArenaHost(Options);
	EXPECT_TRUE(Log.Has("LogInit", "Editor window hidden: viewports are not drawn"));
	UWorld* Pie = StartPie(*Host);
	ASSERT_TRUE(Hero(Pie));
	for (FViewport* Viewport : {GEditor->GetGameViewport(), Host->GetEditor().GetViewportClient(0)->GetViewport()})
	{
		const FDecodedPng Image = Capture(Viewport, "hidden");
		EXPECT_EQ(Image.Width, 1280);
		EXPECT_TRUE(Image.IsUniformRGB());
		EXPECT_EQ(Image.At(0, 0), FColor(0, 0, 0));
	}
	EXPECT_EQ(Host->GetEditor().GetViewportClient(0)->Viewport.DrawCount, 0u);
	EXPECT_EQ(Host->GetEditor().GetLastDrawStats().DrawCalls, 0);
}

TEST(SimMeshColours, AssetColoursAreReadAndBadOnesRefused)
{
	std::string Error;
	auto Doc = ParseAssetDocument(R"({"Type":"StaticMesh","BoundsExtent":[10,20,30],"Color":[1,2,3]})", "M.uasset", &Error);
	ASSERT_TRUE(Doc) << Error;
	EXPECT_EQ(Doc->Color, FColor(1, 2, 3));
	EXPECT_FALSE(ParseAssetDocument(R"({"Type":"StaticMesh"})", "M.uasset", &Error)->Color.has_value());
	for (const char* Bad : {R"([1,2])", R"([1,2,256])", R"([1,2,-1])", R"([1,2,3.5])", R"("red")"})
	{
		EXPECT_FALSE(ParseAssetDocument(std::string(R"({"Type":"SkeletalMesh","Color":)") + Bad + "}", "M.uasset", &Error)) << Bad;
		EXPECT_EQ(Error, "M.uasset: \"Color\" must be [red, green, blue], each an integer 0..255");
	}

	// A project mesh without a basic shape is drawn as a box of its bounds in its own colour.
	FTempProject P;
	P.Write("Content/Meshes/Rock.uasset", R"({"Type":"StaticMesh","BoundsExtent":[100,100,100],"Color":[250,250,0]})");
	P.Write("Content/Maps/Rock.umap", R"({"Type":"World","Actors":[{"Name":"Rock","Class":"/Script/Engine.StaticMeshActor","Location":[500,0,0],
		"Components":{"StaticMeshComponent0":{"StaticMesh":"/Game/Meshes/Rock.Rock"}}}]})");
	FSimHostOptions Options;
	Options.StartupMap = "/Game/Maps/Rock";
	auto Host = MakeHost(P.Path(), Options);
	FSimLevelViewportClient* Client = Host->GetEditor().GetViewportClient(0);
	Client->SetViewLocation(FVector(0, 0, 0));
	Client->SetViewRotation(FRotator(0, 0, 0));
	Client->SetViewModeIndex(EViewModeIndex::VMI_Unlit);
	Host->StepFrame();
	std::vector<FColor> Pixels;
	ASSERT_TRUE(Client->Viewport.ReadPixels(Pixels));
	EXPECT_EQ(Pixels[360u * 1280u + 640u], FColor(250, 250, 0));
	// The box's near face is 400 away and 100 across either way: at the 90 degree default view, +-160 pixels.
	EXPECT_EQ(Pixels[360u * 1280u + 640u + 150u], FColor(250, 250, 0));
	EXPECT_EQ(Pixels[360u * 1280u + 640u + 170u], SimRenderConstants::SkyColor);
}

TEST(SimViewportPixels, ConsoleViewModesAndShowFlagsChangeWhatTheGameViewportDraws)
{
	auto Host = MakeArenaHost();
	UWorld* Pie = StartPie(*Host);
	APlayerController* PC = Pie->GetFirstPlayerController();
	PC->SetViewTarget(FindActor(Pie, "CameraActor_0"));
	Host->StepFrame();
	const FDecodedPng Lit = Capture(GEditor->GetGameViewport(), "console_lit");
	ASSERT_GT(FindBlob(Lit, IsBall).Count, 50u);

	PC->ConsoleCommand("viewmode wireframe");
	Host->StepFrame();
	const FDecodedPng Wire = Capture(GEditor->GetGameViewport(), "console_wire");
	EXPECT_EQ(Wire.At(640, 20), FColor(0, 0, 0));
	PC->ConsoleCommand("viewmode lit");

	// Lighting off draws surfaces in their own colours; static meshes off leaves the hero alone on the sky.
	PC->ConsoleCommand("showflag.lighting 0");
	Host->StepFrame();
	const FDecodedPng Unlit = Capture(GEditor->GetGameViewport(), "console_unlit");
	const FBlob Ball = FindBlob(Unlit, IsBall);
	EXPECT_EQ(Unlit.At(static_cast<int32>(Ball.X), static_cast<int32>(Ball.Y)), FColor(220, 60, 60));
	PC->ConsoleCommand("showflag.staticmeshes 0");
	Host->StepFrame();
	const FDecodedPng NoMeshes = Capture(GEditor->GetGameViewport(), "console_nomeshes");
	EXPECT_EQ(FindBlob(NoMeshes, IsBall).Count, 0u);
	EXPECT_GT(FindBlob(NoMeshes, IsHero).Count, 100u);
	for (const FColor& C : NoMeshes.Pixels) ASSERT_TRUE(C == SimRenderConstants::SkyColor || IsHero(C));
	PC->ConsoleCommand("showflag.skeletalmeshes 0");
	Host->StepFrame();
	EXPECT_TRUE(Capture(GEditor->GetGameViewport(), "console_empty").IsUniformRGB());
}
