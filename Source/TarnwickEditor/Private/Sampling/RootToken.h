// The root tokens a sample spec names (what its path starts from) and their failure texts. Pure; the world
// reader resolves a parsed token against the PIE world.
#pragma once
#include <string>

namespace Tarnwick::Sampling
{
enum class ERootKind : unsigned char
{
	Pawn,
	Anim,
	Controller,
	PlayerController,
	PlayerPawn,
	PlayerState,
	GameState,
	GameMode,
	/** actor:<substr>, matched against the actor's label or object name. */
	ActorLabel,
	/** actor_class:<substr>, matched against the actor's class name. */
	ActorClass,
	Unknown,
};

struct FRootToken
{
	ERootKind Kind = ERootKind::Pawn;
	/** The text after "actor:" or "actor_class:"; the whole token for Unknown. */
	std::string Argument;
};

/** Matches a token case-insensitively; empty is "pawn". */
FRootToken ParseRootToken(const std::string& Token);

/** "unknown root token '%s' — expected pawn|anim|...". */
std::string UnknownRootMessage(const std::string& Token);
}
