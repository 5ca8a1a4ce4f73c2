// The software renderer on its own: conventions of the camera and transforms, depth, lighting, view modes and
// clipping, checked on small scenes whose pixels can be worked out by hand.
#include "SimRenderer.h"
#include "SimRenderScene.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::RenderMath;

namespace
{
constexpr FIntPoint Small{64, 48};

FSimRenderFrame LookingAlongX(ESimViewMode Mode = ESimViewMode::Unlit, FIntPoint Size = Small)
{
	FSimRenderFrame F;
	F.Size = Size;
	F.bHasView = true;
	F.ViewMode = Mode;
	F.Camera = FSimRenderCamera::Perspective(FVector(0, 0, 0), FRotator(0, 0, 0), 90.0);
	return F;
}

FSimRenderPrimitive Box(const FVector& Centre, double Half, FColor Color)
{
	FSimRenderPrimitive P;
	P.Mesh = &SimShapes::UnitBox();
	P.ToWorld = FAffine::FromTransform(Centre, FRotator(), FVector(1, 1, 1)).ScaledLocal(FVector(Half, Half, Half));
	P.Color = Color;
	return P;
}

std::vector<FColor> Render(const FSimRenderFrame& F)
{
	std::vector<FColor> Pixels;
	RasterizeFrame(F, Pixels);
	EXPECT_EQ(Pixels.size(), static_cast<size_t>(F.Size.X) * static_cast<size_t>(F.Size.Y));
	return Pixels;
}

FColor At(const std::vector<FColor>& Pixels, FIntPoint Size, int32 X, int32 Y)
{
	return Pixels[static_cast<size_t>(Y) * static_cast<size_t>(Size.X) + static_cast<size_t>(X)];
}

void ExpectVector(const FVector& A, const FVector& B)
{
	EXPECT_NEAR(A.X, B.X, 1e-9);
	EXPECT_NEAR(A.Y, B.Y, 1e-9);
	EXPECT_NEAR(A.Z, B.Z, 1e-9);
}
}

TEST(SimRenderMath, RotatorsFollowTheEngineAxes)
{
	// Yaw turns forward toward +Y (right), positive pitch looks up, roll tips right toward up.
	ExpectVector(RotatorAxes(FRotator(0, 90, 0)).X, FVector(0, 1, 0));
	ExpectVector(RotatorAxes(FRotator(0, 90, 0)).Y, FVector(-1, 0, 0));
	ExpectVector(RotatorAxes(FRotator(90, 0, 0)).X, FVector(0, 0, 1));
	ExpectVector(RotatorAxes(FRotator(90, 0, 0)).Z, FVector(-1, 0, 0));
	ExpectVector(RotatorAxes(FRotator(0, 0, 90)).Y, FVector(0, 0, -1));
	const FAxes A = RotatorAxes(FRotator(-25, 30, 10));
	EXPECT_NEAR(Dot(A.X, A.Y), 0.0, 1e-12);
	EXPECT_NEAR(Dot(A.X, A.Z), 0.0, 1e-12);
	EXPECT_NEAR(Length(A.Z), 1.0, 1e-12);
}

TEST(SimRenderMath, ComposedTransformsScaleThenRotateThenMove)
{
	// A camera 100 behind an actor that faces +Y and is twice as large: behind it means toward -Y, 200 away.
	const FAffine Actor = FAffine::FromTransform(FVector(10, 20, 30), FRotator(0, 90, 0), FVector(2, 2, 2));
	const FAffine Camera = Actor.Compose(FAffine::FromTransform(FVector(-100, 0, 50), FRotator(), FVector(1, 1, 1)));
	ExpectVector(Camera.Origin, FVector(10, -180, 130));
	ExpectVector(Normalize(Camera.X), FVector(0, 1, 0));
}

TEST(SimRenderProjection, HorizontalFieldOfViewPlacesPointsOnTheImage)
{
	const FSimRenderCamera Camera = FSimRenderCamera::Perspective(FVector(0, 0, 0), FRotator(0, 0, 0), 90.0);
	double X = 0, Y = 0, Depth = 0;
	ASSERT_TRUE(ProjectToScreen(Camera, FIntPoint{640, 480}, FVector(100, 0, 0), X, Y, Depth));
	EXPECT_DOUBLE_EQ(X, 320.0);
	EXPECT_DOUBLE_EQ(Y, 240.0);
	EXPECT_DOUBLE_EQ(Depth, 100.0);
	// 45 degrees to the right is the right edge at a 90 degree field of view; up goes toward row 0.
	ASSERT_TRUE(ProjectToScreen(Camera, FIntPoint{640, 480}, FVector(100, 100, 0), X, Y, Depth));
	EXPECT_NEAR(X, 640.0, 1e-9);
	ASSERT_TRUE(ProjectToScreen(Camera, FIntPoint{640, 480}, FVector(100, 0, 50), X, Y, Depth));
	EXPECT_NEAR(Y, 240.0 - 160.0, 1e-9);
	EXPECT_FALSE(ProjectToScreen(Camera, FIntPoint{640, 480}, FVector(-5, 0, 0), X, Y, Depth));

	const FSimRenderCamera Ortho = FSimRenderCamera::Orthographic(FVector(0, 0, 1000), FRotator(-90, 0, 0), 640.0);
	ASSERT_TRUE(ProjectToScreen(Ortho, FIntPoint{640, 480}, FVector(100, 50, 0), X, Y, Depth));
	// Looking straight down with yaw 0: +X (forward of the yaw) is up on the image, +Y is right.
	EXPECT_NEAR(X, 370.0, 1e-9);
	EXPECT_NEAR(Y, 140.0, 1e-9);
}

TEST(SimRasterizer, UnlitDrawsTheExactColourAndLeavesTheSkyAround)
{
	FSimRenderFrame F = LookingAlongX();
	F.Primitives.push_back(Box(FVector(200, 0, 0), 20, FColor(10, 200, 30)));
	const std::vector<FColor> P = Render(F);
	EXPECT_EQ(At(P, Small, 32, 24), FColor(10, 200, 30));
	EXPECT_EQ(At(P, Small, 0, 0), SimRenderConstants::SkyColor);
	EXPECT_EQ(At(P, Small, 63, 47), SimRenderConstants::SkyColor);
	// The near face spans +-20 at depth 180: +-3.56 pixels about the centre at this focal length (32).
	EXPECT_EQ(At(P, Small, 29, 24), FColor(10, 200, 30));
	EXPECT_EQ(At(P, Small, 27, 24), SimRenderConstants::SkyColor);
}

TEST(SimRasterizer, NearerSurfacesWinWhateverTheDrawOrder)
{
	for (bool bNearFirst : {true, false})
	{
		FSimRenderFrame F = LookingAlongX();
		const FSimRenderPrimitive Near = Box(FVector(100, 0, 0), 10, FColor(255, 0, 0));
		const FSimRenderPrimitive Far = Box(FVector(300, 0, 0), 80, FColor(0, 0, 255));
		F.Primitives = bNearFirst ? std::vector{Near, Far} : std::vector{Far, Near};
		const std::vector<FColor> P = Render(F);
		EXPECT_EQ(At(P, Small, 32, 24), FColor(255, 0, 0)) << bNearFirst;
		EXPECT_EQ(At(P, Small, 32, 15), FColor(0, 0, 255)) << bNearFirst;
	}
}

TEST(SimRasterizer, LambertFromDirectionalAndPointLightsOverAmbient)
{
	// A plane facing the camera (its normal along -X), coloured 200 grey.
	FSimRenderPrimitive Wall;
	Wall.Mesh = &SimShapes::UnitPlane();
	Wall.ToWorld = FAffine::FromTransform(FVector(100, 0, 0), FRotator(90, 0, 0), FVector(1, 1, 1)).ScaledLocal(FVector(200, 200, 1));
	Wall.Color = FColor(200, 200, 200);
	auto Lit = [&](std::vector<FSimRenderLight> Lights) {
		FSimRenderFrame F = LookingAlongX(ESimViewMode::Lit);
		F.Primitives = {Wall};
		F.Lights = std::move(Lights);
		return At(Render(F), Small, 32, 24);
	};
	// Ambient alone: 200 x 0.25.
	EXPECT_EQ(Lit({}), FColor(50, 50, 50));
	FSimRenderLight Sun;
	Sun.Direction = FVector(1, 0, 0); // travelling away from the camera, onto the wall's face
	Sun.Color = FVector(0.5, 0.5, 0.5);
	EXPECT_EQ(Lit({Sun}), FColor(150, 150, 150));
	// Grazing light adds nothing; light from behind the wall adds nothing.
	Sun.Direction = FVector(0, 1, 0);
	EXPECT_EQ(Lit({Sun}), FColor(50, 50, 50));
	Sun.Direction = FVector(-1, 0, 0);
	EXPECT_EQ(Lit({Sun}), FColor(50, 50, 50));
	// A red point light halfway to its radius in front of the wall: falloff (1 - 0.25)^2.
	FSimRenderLight Lamp;
	Lamp.Type = FSimRenderLight::EType::Point;
	Lamp.Color = FVector(1, 0, 0);
	Lamp.Radius = 100;
	const FColor WithLamp = [&] {
		Lamp.Position = FVector(50, 0, 0);
		return Lit({Lamp});
	}();
	EXPECT_GT(WithLamp.R, 50);
	EXPECT_EQ(WithLamp.G, 50);
	Lamp.Position = FVector(-50, 0, 0); // beyond its radius
	EXPECT_EQ(Lit({Lamp}), FColor(50, 50, 50));
}

TEST(SimRasterizer, WireframeDrawsEdgesOnBlackAndLitDiffers)
{
	FSimRenderFrame F = LookingAlongX(ESimViewMode::Wireframe, FIntPoint{128, 96});
	F.Primitives.push_back(Box(FVector(200, 0, 0), 60, FColor(255, 128, 0)));
	const std::vector<FColor> Wire = Render(F);
	EXPECT_EQ(At(Wire, F.Size, 64, 48), SimRenderConstants::ClearColor) << "inside a face is empty";
	size_t Edge = 0;
	for (const FColor& C : Wire) Edge += C == FColor(255, 128, 0);
	EXPECT_GT(Edge, 100u);
	F.ViewMode = ESimViewMode::Lit;
	const std::vector<FColor> Lit = Render(F);
	EXPECT_NE(At(Lit, F.Size, 64, 48), SimRenderConstants::ClearColor);
	EXPECT_NE(Wire, Lit);
}

TEST(SimRasterizer, SurfacesCrossingTheCameraPlaneAreClippedNotLost)
{
	// A floor under the camera reaching far behind it fills the lower half of the image.
	FSimRenderFrame F = LookingAlongX();
	FSimRenderPrimitive Floor;
	Floor.Mesh = &SimShapes::UnitPlane();
	Floor.ToWorld = FAffine::FromTransform(FVector(0, 0, -100), FRotator(), FVector(1, 1, 1)).ScaledLocal(FVector(5000, 5000, 1));
	Floor.Color = FColor(90, 90, 90);
	F.Primitives = {Floor};
	const std::vector<FColor> P = Render(F);
	for (int32 X : {0, 32, 63}) EXPECT_EQ(At(P, Small, X, 47), FColor(90, 90, 90)) << X;
	EXPECT_EQ(At(P, Small, 32, 10), SimRenderConstants::SkyColor);
	// Seen from below, the plane shows its other side.
	F.Camera = FSimRenderCamera::Perspective(FVector(0, 0, -300), FRotator(60, 0, 0), 90.0);
	EXPECT_EQ(At(Render(F), Small, 32, 24), FColor(90, 90, 90));
	// A camera inside a box sees none of it: the box shows its outside only.
	F.Primitives = {Box(FVector(0, 0, 0), 50, FColor(1, 2, 3))};
	F.Camera = FSimRenderCamera::Perspective(FVector(0, 0, 0), FRotator(), 90.0);
	const std::vector<FColor> Inside = Render(F);
	for (const FColor& C : Inside) ASSERT_EQ(C, SimRenderConstants::SkyColor);
}

TEST(SimRasterizer, AViewWithNothingToLookThroughIsBlack)
{
	FSimRenderFrame F = LookingAlongX();
	F.bHasView = false;
	F.Primitives.push_back(Box(FVector(200, 0, 0), 20, FColor(10, 200, 30)));
	for (const FColor& C : Render(F)) ASSERT_EQ(C, FColor(0, 0, 0));
}

TEST(SimRenderShapes, MeshesHaveTheEngineMeasures)
{
	auto Extent = [](const FSimMesh& M) {
		FVector Max;
		for (const FVector& V : M.Vertices) Max = FVector(std::max(Max.X, std::abs(V.X)), std::max(Max.Y, std::abs(V.Y)), std::max(Max.Z, std::abs(V.Z)));
		return Max;
	};
	ExpectVector(Extent(SimShapes::UnitSphere()), FVector(1, 1, 1));
	ExpectVector(Extent(SimShapes::UnitCylinder()), FVector(1, 1, 1));
	ExpectVector(Extent(SimShapes::UnitCone()), FVector(1, 1, 1));
	EXPECT_EQ(SimShapes::UnitBox().NumTriangles, 12);
	EXPECT_TRUE(SimShapes::UnitPlane().bTwoSided);
	EXPECT_EQ(SimShapes::UnitPlane().NumTriangles, 512);
	// The engine's capsule half height runs to the tip; a half height under the radius is a sphere.
	ExpectVector(Extent(*SimShapes::MakeCapsule(34, 88)), FVector(34, 34, 88));
	ExpectVector(Extent(*SimShapes::MakeCapsule(30, 10)), FVector(30, 30, 30));
	for (const FVector& V : SimShapes::UnitSphere().Vertices) EXPECT_NEAR(Length(V), 1.0, 1e-12);

	const FSimMesh* Mesh = nullptr;
	FVector Half;
	FColor Color;
	ASSERT_TRUE(FindBasicShape("/Engine/BasicShapes/Cube.Cube", Mesh, Half, Color));
	EXPECT_EQ(Mesh, &SimShapes::UnitBox());
	ExpectVector(Half, FVector(50, 50, 50));
	EXPECT_TRUE(FindBasicShape("/engine/basicshapes/sphere.sphere", Mesh, Half, Color));
	EXPECT_FALSE(FindBasicShape("/Game/Meshes/Rock.Rock", Mesh, Half, Color));
}

TEST(SimRenderViewModes, EngineIndicesMapToTheRenderersModes)
{
	bool bExact = false;
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_Lit, &bExact), ESimViewMode::Lit);
	EXPECT_TRUE(bExact);
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_Unlit), ESimViewMode::Unlit);
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_BrushWireframe), ESimViewMode::Wireframe);
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_Wireframe), ESimViewMode::Wireframe);
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_LightingOnly), ESimViewMode::LightingOnly);
	EXPECT_EQ(ViewModeForIndex(EViewModeIndex::VMI_ShaderComplexity, &bExact), ESimViewMode::Lit);
	EXPECT_FALSE(bExact);
}
