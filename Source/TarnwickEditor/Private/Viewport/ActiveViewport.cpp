#include "Viewport/ActiveViewport.h"

#include "Editor.h"
#include "Viewport.h"

namespace Tarnwick::Viewport
{
bool HasVisibleViewport(const FEditorViewportClient* Client)
{
	const FViewport* Viewport = Client ? Client->GetViewport() : nullptr;
	if (!Viewport) return false;
	const FIntPoint Size = Viewport->GetSizeXY();
	return Size.X >= 1 && Size.Y >= 1;
}

FEditorViewportClient* ChooseActiveViewportClient(FEditorViewportClient* Current, const std::vector<FEditorViewportClient*>& Clients)
{
	if (HasVisibleViewport(Current)) return Current;
	for (FEditorViewportClient* Client : Clients)
	{
		if (HasVisibleViewport(Client)) return Client;
	}
	return nullptr;
}

FEditorViewportClient* FindActiveViewportClient()
{
	if (!GEditor) return nullptr;
	return ChooseActiveViewportClient(GEditor->GetCurrentLevelEditingViewportClient(), GEditor->GetLevelViewportClients());
}
}
