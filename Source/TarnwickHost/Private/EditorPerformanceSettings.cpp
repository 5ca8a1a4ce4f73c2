#include "EditorPerformanceSettings.h"

UEditorPerformanceSettings* UEditorPerformanceSettings::GetMutableDefault()
{
	static UEditorPerformanceSettings Default;
	return &Default;
}
