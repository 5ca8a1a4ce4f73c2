// The handlers of the gameplay namespaces, bound to catalogue entries by namespace and action name at
// registration. Each subsystem adds its own.
#pragma once
#include "TarnwickActionResult.h"

#include <map>
#include <string>
#include <utility>

namespace Tarnwick::Gameplay
{
using FGameplayHandlerTable = std::map<std::pair<std::string, std::string>, FTarnwickActionHandler>;

/** key_down, key_up, press_key, mouse_move, click, get_player_state. */
void AddPieHandlers(FGameplayHandlerTable& Table);
/** runtime_get_all_bb_values and get_move_status. */
void AddAiRuntimeHandlers(FGameplayHandlerTable& Table);
/** get_navmesh_stats, add_nav_bounds_volume, rebuild_navigation, build_navigation, validate_nav_points. */
void AddNavigationHandlers(FGameplayHandlerTable& Table);
/** get_attribute_value. */
void AddGasHandlers(FGameplayHandlerTable& Table);
}
