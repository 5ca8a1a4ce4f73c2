#include "SimViewport.h"

#include "Logging.h"
#include "RenderingThread.h"
#include "World.h"

#include <cctype>

namespace Tarnwick::Sim
{
namespace
{
FLogCategory LogEditorViewport("LogEditorViewport");
FLogCategory LogRenderer("LogRenderer");
}

const char* ViewModeDisplayName(int32 ViewModeIndex)
{
	switch (ViewModeIndex)
	{
	case EViewModeIndex::VMI_BrushWireframe: return "Brush Wireframe";
	case EViewModeIndex::VMI_Wireframe: return "Wireframe";
	case EViewModeIndex::VMI_Unlit: return "Unlit";
	case EViewModeIndex::VMI_Lit: return "Lit";
	case EViewModeIndex::VMI_Lit_DetailLighting: return "Detail Lighting";
	case EViewModeIndex::VMI_LightingOnly: return "Lighting Only";
	case EViewModeIndex::VMI_LightComplexity: return "Light Complexity";
	case EViewModeIndex::VMI_ShaderComplexity: return "Shader Complexity";
	case EViewModeIndex::VMI_LightmapDensity: return "Lightmap Density";
	case EViewModeIndex::VMI_LitLightmapDensity: return "Lit Lightmap Density";
	case EViewModeIndex::VMI_ReflectionOverride: return "Reflections";
	case EViewModeIndex::VMI_VisualizeBuffer: return "Buffer Visualization";
	case EViewModeIndex::VMI_StationaryLightOverlap: return "Stationary Light Overlap";
	case EViewModeIndex::VMI_CollisionPawn: return "Player Collision";
	case EViewModeIndex::VMI_CollisionVisibility: return "Visibility Collision";
	case EViewModeIndex::VMI_LODColoration: return "Mesh LOD Coloration";
	case EViewModeIndex::VMI_QuadOverdraw: return "Quad Overdraw";
	default: return "Unknown";
	}
}

bool FSimViewport::ReadPixels(std::vector<FColor>& OutImageData)
{
	OutImageData.clear();
	if (Size.X < 1 || Size.Y < 1) return false;
	if (!DrawnFrame)
	{
		// Never drawn (a hidden editor draws nothing): the render target holds what it was allocated with.
		FlushRenderingCommands();
		OutImageData.assign(static_cast<size_t>(Size.X) * static_cast<size_t>(Size.Y), FColor(0, 0, 0, 0));
		return true;
	}
	std::shared_ptr<FSimDrawnFrame> Drawn = DrawnFrame;
	std::vector<FColor>* Out = &OutImageData;
	EnqueueRenderCommand("ReadSurfaceCommand", [Drawn, Out] {
		if (!Drawn->bRasterized)
		{
			RasterizeFrame(Drawn->Frame, Drawn->Pixels);
			Drawn->bRasterized = true;
		}
		*Out = Drawn->Pixels;
	});
	FlushRenderingCommands();
	return true;
}

FSimRenderFrame& FSimViewport::BeginDrawnFrame()
{
	// A read-back in flight holds its own reference; then this draw gets fresh storage instead of pulling the
	// frame out from under it.
	if (!DrawnFrame || DrawnFrame.use_count() > 1) DrawnFrame = std::make_shared<FSimDrawnFrame>();
	DrawnFrame->bRasterized = false;
	DrawnFrame->Frame.Reset();
	return DrawnFrame->Frame;
}

void FSimViewport::Resize(FIntPoint NewSize)
{
	Size = NewSize;
	bInvalidated = true;
}

FSimLevelViewportClient::FSimLevelViewportClient(int32 InIndex, ELevelViewportType::Type InType, FIntPoint Size)
	: Index(InIndex), Type(InType)
{
	Viewport.Size = Size;
	PerspectiveLocation = FVector(-1500.0, 0.0, 700.0);
	PerspectiveRotation = FRotator(-20.0, 0.0, 0.0);
	switch (InType)
	{
	case ELevelViewportType::LVT_OrthoXY: OrthoRotation = FRotator(-90.0, 0.0, 0.0); break;
	case ELevelViewportType::LVT_OrthoXZ: OrthoRotation = FRotator(0.0, 90.0, 0.0); break;
	default: break;
	}
	bRealtime = InType == ELevelViewportType::LVT_Perspective;
}

void FSimLevelViewportClient::SetViewportType(ELevelViewportType::Type InType)
{
	Type = InType;
	Invalidate();
	TW_LOG(LogEditorViewport, Log, "Viewport %d: view type set to %d", Index, static_cast<int>(InType));
}

FVector FSimLevelViewportClient::GetViewLocation() const { return IsPerspective() ? PerspectiveLocation : OrthoLocation; }
FRotator FSimLevelViewportClient::GetViewRotation() const { return IsPerspective() ? PerspectiveRotation : OrthoRotation; }

void FSimLevelViewportClient::SetViewLocation(const FVector& Location)
{
	(IsPerspective() ? PerspectiveLocation : OrthoLocation) = Location;
	TW_LOG(LogEditorViewport, Verbose, "Viewport %d: camera at (%.1f, %.1f, %.1f)", Index, Location.X, Location.Y, Location.Z);
}

void FSimLevelViewportClient::SetViewRotation(const FRotator& Rotation)
{
	(IsPerspective() ? PerspectiveRotation : OrthoRotation) = Rotation;
	TW_LOG(LogEditorViewport, Verbose, "Viewport %d: camera rotation (%.1f, %.1f, %.1f)", Index, Rotation.Pitch, Rotation.Yaw, Rotation.Roll);
}

void FSimLevelViewportClient::SetViewFOV(float FOV)
{
	ViewFOV = FOV;
	TW_LOG(LogEditorViewport, Log, "Viewport %d: field of view %.1f", Index, static_cast<double>(FOV));
}

void FSimLevelViewportClient::SetRealtime(bool bInRealtime)
{
	bRealtime = bInRealtime;
	TW_LOG(LogEditorViewport, Log, "Viewport %d: realtime %s", Index, bInRealtime ? "on" : "off");
}

void FSimLevelViewportClient::SetGameView(bool bInGameView)
{
	bGameView = bInGameView;
	TW_LOG(LogEditorViewport, Log, "Viewport %d: game view %s", Index, bInGameView ? "on" : "off");
}

void FSimLevelViewportClient::SetViewModeIndex(int32 InViewModeIndex)
{
	ViewModeIndex = InViewModeIndex;
	Invalidate();
	TW_LOG(LogEditorViewport, Log, "Viewport %d: view mode %s (%d)", Index, ViewModeDisplayName(InViewModeIndex), InViewModeIndex);
}

bool FSimLevelViewportClient::Draw(uint64 FrameCounter)
{
	if (Viewport.Size.X < 1 || Viewport.Size.Y < 1) return false;
	if (!bRealtime && !Viewport.bInvalidated) return false;
	if (!(Viewport.AllocatedSize == Viewport.Size))
	{
		const FIntPoint Size = Viewport.Size;
		Viewport.AllocatedSize = Size;
		EnqueueRenderCommand("ReallocateSceneRenderTargets", [Size, FrameCounter] {
			TW_LOG(LogRenderer, Log, "Reallocating scene render targets to support %dx%d NumSamples 1 (Frame:%llu).", Size.X, Size.Y,
				static_cast<unsigned long long>(FrameCounter));
		});
	}
	Viewport.bInvalidated = false;
	++Viewport.DrawCount;
	return true;
}
}

namespace Tarnwick::Sim
{
namespace
{
std::string Lower(const std::string& S)
{
	std::string Out = S;
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}
}

bool FindShowFlag(const std::string& Name, std::string& OutCanonical, bool& OutDefault)
{
	struct FFlag
	{
		const char* Name;
		bool bDefault;
	};
	static const FFlag Flags[] = {{"AmbientOcclusion", true}, {"AntiAliasing", true}, {"Bloom", true}, {"Bounds", false}, {"BSP", true},
		{"Collision", false}, {"Decals", true}, {"DirectionalLights", true}, {"Fog", true}, {"Game", true}, {"Grid", false},
		{"Landscape", true}, {"Lighting", true}, {"MotionBlur", true}, {"Navigation", false}, {"Particles", true}, {"PointLights", true},
		{"PostProcessing", true}, {"SkeletalMeshes", true}, {"SkyLighting", true}, {"SpotLights", true}, {"StaticMeshes", true},
		{"Translucency", true}, {"Volumes", false}};
	const std::string Key = Lower(Name);
	for (const FFlag& F : Flags)
	{
		if (Lower(F.Name) == Key)
		{
			OutCanonical = F.Name;
			OutDefault = F.bDefault;
			return true;
		}
	}
	return false;
}

bool FindViewModeByConsoleName(const std::string& Name, int32& OutIndex)
{
	static const std::pair<const char*, int32> Modes[] = {{"lit", EViewModeIndex::VMI_Lit}, {"unlit", EViewModeIndex::VMI_Unlit},
		{"wireframe", EViewModeIndex::VMI_Wireframe}, {"brushwireframe", EViewModeIndex::VMI_BrushWireframe},
		{"detaillighting", EViewModeIndex::VMI_Lit_DetailLighting}, {"lightingonly", EViewModeIndex::VMI_LightingOnly},
		{"lightcomplexity", EViewModeIndex::VMI_LightComplexity}, {"shadercomplexity", EViewModeIndex::VMI_ShaderComplexity},
		{"lightmapdensity", EViewModeIndex::VMI_LightmapDensity}, {"litlightmapdensity", EViewModeIndex::VMI_LitLightmapDensity},
		{"reflectionoverride", EViewModeIndex::VMI_ReflectionOverride}, {"collisionpawn", EViewModeIndex::VMI_CollisionPawn},
		{"collisionvis", EViewModeIndex::VMI_CollisionVisibility}, {"lodcoloration", EViewModeIndex::VMI_LODColoration},
		{"quadoverdraw", EViewModeIndex::VMI_QuadOverdraw}};
	const std::string Key = Lower(Name);
	for (const auto& [ModeName, Index] : Modes)
	{
		if (Key == ModeName)
		{
			OutIndex = Index;
			return true;
		}
	}
	return false;
}

FSimGameViewportClient::FSimGameViewportClient(FSimViewport& InViewport, UWorld* InWorld)
	: Viewport(InViewport), World(InWorld), Mouse{InViewport.Size.X / 2, InViewport.Size.Y / 2}
{
}

bool FSimGameViewportClient::InputKey(const FInputKeyParams& Params)
{
	if (Params.Key.IsAxis1D() || Params.Event == IE_Axis) return false;
	APlayerController* PC = World ? World->GetFirstPlayerController() : nullptr;
	return PC && PC->InputKey(Params);
}

bool FSimGameViewportClient::MouseMove(int32 X, int32 Y)
{
	APlayerController* PC = World ? World->GetFirstPlayerController() : nullptr;
	if (!PC) return false;
	const int32 DX = X - Mouse.X;
	const int32 DY = Y - Mouse.Y;
	Mouse = FIntPoint{X, Y};
	// Screen Y grows downwards; the engine's MouseY axis is positive upwards.
	if (DX != 0) PC->InputKey(FInputKeyParams{FKey("MouseX"), IE_Axis, static_cast<double>(DX)});
	if (DY != 0) PC->InputKey(FInputKeyParams{FKey("MouseY"), IE_Axis, static_cast<double>(-DY)});
	return true;
}
}
