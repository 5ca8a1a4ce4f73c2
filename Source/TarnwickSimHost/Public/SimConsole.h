// The simulated engine's console commands: what UEngine::Exec runs on a world, and so what a player controller's
// ConsoleCommand runs after its own commands.
//
// Commands (the first word compares without regard to case):
//   pause                           toggles the pause of a game or PIE world
//   slomo <N>                       sets the global time dilation of a game or PIE world (clamped as WorldSettings clamp it)
//   stat fps | unit | game | none   shows (or hides) a stat group in the viewport and prints its current figures
//   log list | <Category> [<Verbosity>]   lists categories, prints or sets a category's verbosity
//   showflag.<Flag> 0|1|2           switches a show flag of the viewport off, on, or back to its default
//   viewmode <mode>                 lit, unlit, wireframe, ... on the viewport
//   echo <Category> <Verbosity> <text>   writes the text to the log with that category and verbosity
//   exit | quit                     ends Play-In-Editor when run on the PIE world
// The viewport is the PIE game viewport for the PIE world and the current level viewport otherwise. Anything
// else is not recognised (Exec returns false). docs/project-format.md lists the same.
#pragma once
#include "Logging.h"
#include "SimObjects.h"

#include <string>
#include <vector>

namespace Tarnwick::Sim
{
class FSimEditor;

/**
 * The live category of that name, or one made now for a name nobody declared (kept for the life of the process),
 * so that lines written under it and "log <Category> <Verbosity>" find the same category.
 */
FLogCategory& FindOrAddLogCategory(const std::string& Name);

/** Splits a command line into words at blanks; "double-quoted text" stays one word, without its quotes. */
std::vector<std::string> SplitConsoleCommand(const std::string& Line);

/** Runs one command on World (may be null for the editor's own commands); false when not recognised. */
bool ExecConsoleCommand(FSimEditor& Editor, FSimWorld* World, const std::string& Cmd, FOutputDevice& Ar);
}
