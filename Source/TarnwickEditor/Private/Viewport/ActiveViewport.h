// Which level viewport the camera and display actions steer: the one the user last worked in when it is shown,
// otherwise the first shown one. A viewport counts as shown when it is at least 1 by 1 pixel; the level
// editor keeps hidden viewports (collapsed layouts, closed tabs) at 0 by 0, and steering one of those would
// change nothing the user can see.
#pragma once
#include <vector>

class FEditorViewportClient;

namespace Tarnwick::Viewport
{
/** Whether the client has a viewport of at least 1 by 1 pixel. */
bool HasVisibleViewport(const FEditorViewportClient* Client);

/** Current when it is shown, else the first shown client of Clients, else null. */
FEditorViewportClient* ChooseActiveViewportClient(FEditorViewportClient* Current, const std::vector<FEditorViewportClient*>& Clients);

/** The choice over the editor's current and level viewport clients; null without an editor. Game thread only. */
FEditorViewportClient* FindActiveViewportClient();
}
