// Reads sample specs from the live PIE world: resolves each spec's root token, walks its property path through
// the host's reflection, and dispatches gas and blackboard reads to the plug-in's "gas" and "ai" namespaces
// through the tool registry. Everything it makes of a value or an answer is decided by the pure rules
// (PropertyConversion, DispatchedResponses). Game thread only.
#pragma once
#include "Object.h"
#include "Sampling/RootToken.h"
#include "Sampling/SamplingCore.h"

#include <string>
#include <vector>

namespace Tarnwick::Sampling
{
class FWorldReader final : public ISpecReader
{
public:
	explicit FWorldReader(const std::vector<FSampleSpec>& InSpecs);

	/** What the root tokens of the next reads resolve against. */
	void SetWorld(const FSamplingWorld& InWorld) { World = InWorld; }

	FReadResult Read(size_t SpecIndex, double T) override;
	bool IsRootDestroyed(size_t SpecIndex, std::string& OutLabel) override;

private:
	/** One hop of a property path, with the property it found on the class it last saw. */
	struct FSegment
	{
		std::string Name;
		FWeakObjectPtr Class;
		const FProperty* Property = nullptr;
	};
	struct FSpecState
	{
		FRootToken Root;
		std::vector<FSegment> Path;
		/** The root of the last good read (to tell when it is destroyed) and its label. */
		FWeakObjectPtr LastRoot;
		std::string LastRootLabel;
		/** Roots found by a search are kept while they live, so that a search runs once, not every pass. */
		FWeakObjectPtr CachedRoot;
		/** The AnimInstance last found for a root. */
		FWeakObjectPtr AnimOwner;
		FWeakObjectPtr AnimInstance;
	};
	struct FRoot
	{
		UObject* Object = nullptr;
		/** Whose label names the root (the pawn for its AnimInstance); asked only when a label is needed. */
		UObject* Labelled = nullptr;
		std::string Failure;
	};

	FRoot ResolveRoot(FSpecState& State);
	UObject* FindAnimInstance(FSpecState& State, UObject* Root, std::string& OutFailure);
	FReadResult ReadPath(FSpecState& State, UObject* Object, const FSampleSpec& Spec);
	FReadResult Dispatch(const FSampleSpec& Spec, const std::string& Label);
	UClass* FindNativeClass(const char* Path, FWeakObjectPtr& Cache);

	const std::vector<FSampleSpec>& Specs;
	std::vector<FSpecState> States;
	FSamplingWorld World;
	FWeakObjectPtr SkeletalMeshComponentClass;
	FWeakObjectPtr GameStateClass;
};
}
