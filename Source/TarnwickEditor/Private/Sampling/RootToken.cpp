#include "Sampling/RootToken.h"

#include "Printf.h"
#include "Sampling/SampleValue.h"

namespace Tarnwick::Sampling
{
FRootToken ParseRootToken(const std::string& Token)
{
	FRootToken Out;
	if (Token.empty() || EqualsIgnoreCase(Token, "pawn")) return Out;
	static constexpr std::pair<const char*, ERootKind> Plain[] = {
		{"anim", ERootKind::Anim},
		{"controller", ERootKind::Controller},
		{"player_controller", ERootKind::PlayerController},
		{"pc", ERootKind::PlayerController},
		{"player_pawn", ERootKind::PlayerPawn},
		{"player_state", ERootKind::PlayerState},
		{"game_state", ERootKind::GameState},
		{"game_mode", ERootKind::GameMode},
	};
	for (const auto& [Name, Kind] : Plain)
	{
		if (EqualsIgnoreCase(Token, Name))
		{
			Out.Kind = Kind;
			return Out;
		}
	}
	static constexpr std::string_view ActorClassPrefix = "actor_class:";
	static constexpr std::string_view ActorPrefix = "actor:";
	if (Token.size() >= ActorClassPrefix.size() && EqualsIgnoreCase(std::string_view(Token).substr(0, ActorClassPrefix.size()), ActorClassPrefix))
	{
		Out.Kind = ERootKind::ActorClass;
		Out.Argument = Token.substr(ActorClassPrefix.size());
		return Out;
	}
	if (Token.size() >= ActorPrefix.size() && EqualsIgnoreCase(std::string_view(Token).substr(0, ActorPrefix.size()), ActorPrefix))
	{
		Out.Kind = ERootKind::ActorLabel;
		Out.Argument = Token.substr(ActorPrefix.size());
		return Out;
	}
	Out.Kind = ERootKind::Unknown;
	Out.Argument = Token;
	return Out;
}

std::string UnknownRootMessage(const std::string& Token)
{
	return Tarnwick::Printf("unknown root token '%s' — expected "
							"pawn|anim|controller|player_controller|player_pawn|player_state|game_state|game_mode|actor:<substr>|actor_class:<substr>",
		Token.c_str());
}
}
