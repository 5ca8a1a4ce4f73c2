// Opening the map a smoke session asks for, before PIE starts. A session must report on the level that was
// asked for, so a load that leaves another level open (a cancelled save prompt keeps the old one) refuses
// instead of testing the wrong map. Game thread only.
#pragma once
#include <optional>
#include <string>

namespace Tarnwick::PieSmoke
{
/** Opens Map in the editor (empty: keep the open level). The refusal message, or nullopt on success. */
std::optional<std::string> LoadSmokeMap(const std::string& Map);
}
