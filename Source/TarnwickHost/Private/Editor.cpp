#include "Editor.h"

UEditorEngine* GEditor = nullptr;
UEditorEngine* GUnrealEd = nullptr;

FEditorDelegates::FOnPIEEvent FEditorDelegates::BeginPIE;
FEditorDelegates::FOnPIEEvent FEditorDelegates::PrePIEEnded;
FEditorDelegates::FOnPIEEvent FEditorDelegates::EndPIE;

namespace Tarnwick::Host
{
void SetEditor(UEditorEngine* Editor)
{
	GEditor = Editor;
	GUnrealEd = Editor;
	SetEngine(Editor);
}
}
