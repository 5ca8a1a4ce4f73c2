// What the simulated editor's viewports draw of a world: the scene (meshes, characters, lights) gathered from its
// actors and components, and the camera of a level viewport or of the PIE player's view target. Runs on the game
// thread in the viewport phase of a frame; the frame it fills is rasterised later, when someone reads it back.
#pragma once
#include "SimRenderer.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

class AActor;
class FEditorViewportClient;
class UClass;
class UObject;
class UWorld;

namespace Tarnwick::Sim
{
class FSimObjectRegistry;

/** The colour of a mesh that names none, and of a Character without a mesh. */
constexpr FColor DefaultMeshColor(180, 180, 180);

/** The shape and colour of one of the engine's basic shapes, by mesh object path; false for other meshes. */
bool FindBasicShape(const std::string& MeshPath, const FSimMesh*& OutMesh, FVector& OutHalfSize, FColor& OutColor);

class FPropertyIndexCache;

/** The engine show flags the renderer honours, from a viewport's flags switched away from their defaults. */
struct FSimShowFlags
{
	bool bStaticMeshes = true;
	/** Skeletal meshes, and the characters drawn as capsules in their stead. */
	bool bSkeletalMeshes = true;
	/** Off: the view is drawn unlit. */
	bool bLighting = true;
	bool bDirectionalLights = true;
	bool bPointLights = true;
	bool bSpotLights = true;

	/** Keys are the lower-case flag names "showflag.<Name>" stores. */
	static FSimShowFlags FromOverrides(const std::map<std::string, bool>& Overrides);
};

class FSimSceneRenderer
{
public:
	explicit FSimSceneRenderer(FSimObjectRegistry& Registry);
	~FSimSceneRenderer();

	/**
	 * The camera a view target gives: its first camera component (field of view, projection), else its eyes (a
	 * pawn's BaseEyeHeight above its location, looking along its controller's ControlRotation; any other actor at
	 * its location and rotation) with a 90 degree field of view.
	 */
	FSimRenderCamera CameraForViewTarget(AActor* ViewTarget);

	/** What a level viewport client shows of World: its camera, its view mode, editor or game visibility. */
	void DrawLevelViewport(const FEditorViewportClient& Client, FIntPoint Size, const FSimShowFlags& Flags, UWorld* World, FSimRenderFrame& Out);
	/**
	 * What the PIE game viewport shows in ViewModeIndex: the first player controller's view target; no controller,
	 * no view.
	 */
	void DrawGameViewport(UWorld* World, FIntPoint Size, int32 ViewModeIndex, const FSimShowFlags& Flags, FSimRenderFrame& Out);
	/** The primitives and lights of a world; bGameView hides what the game hides (bHidden, bHiddenInGame). */
	void GatherScene(UWorld* World, bool bGameView, const FSimShowFlags& Flags, FSimRenderFrame& Out);

private:
	struct FStaticMeshLook
	{
		const FSimMesh* Mesh = nullptr;
		FVector HalfSize;
		FColor Color;
	};
	const FStaticMeshLook& LookOf(const UObject* Mesh);
	std::shared_ptr<const FSimMesh> Capsule(double Radius, double HalfHeight);
	void AddLight(AActor* Actor, UObject* Component, const RenderMath::FAffine& ToWorld, const FSimShowFlags& Flags, FSimRenderFrame& Out) const;
	ESimViewMode ModeFor(int32 ViewModeIndex, const FSimShowFlags& Flags);

	UClass* CharacterClass = nullptr;
	UClass* StaticMeshComponentClass = nullptr;
	UClass* SkeletalMeshComponentClass = nullptr;
	UClass* CapsuleComponentClass = nullptr;
	UClass* LightComponentClass = nullptr;
	UClass* DirectionalLightComponentClass = nullptr;
	UClass* SpotLightComponentClass = nullptr;
	std::map<std::pair<double, double>, std::shared_ptr<const FSimMesh>> Capsules;
	std::set<int32> WarnedViewModes;
	/** By the mesh object's serial, which its registry never reuses. */
	std::unordered_map<uint64, FStaticMeshLook> MeshLooks;
	std::unique_ptr<FPropertyIndexCache> PropertyCache;
};
}
