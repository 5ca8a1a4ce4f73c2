#include "PieSmoke/PieSmokeSpec.h"

namespace Tarnwick::PieSmoke
{
const char* ActionName(ESmokeAction Action)
{
	return Action == ESmokeAction::CaptureClip ? "capture_pie_movement_clip" : "run_pie_smoke";
}

const char* LexToString(ESessionClock Clock)
{
	return Clock == ESessionClock::Wall ? "wall" : "game";
}

const char* LexToString(EInputEventKind Kind)
{
	switch (Kind)
	{
	case EInputEventKind::Down: return "down";
	case EInputEventKind::Up: return "up";
	case EInputEventKind::Press: return "press";
	case EInputEventKind::MouseMove: return "mouse_move";
	case EInputEventKind::Click: return "click";
	}
	return "press";
}

const char* PieActionName(EInputEventKind Kind)
{
	switch (Kind)
	{
	case EInputEventKind::Down: return "key_down";
	case EInputEventKind::Up: return "key_up";
	case EInputEventKind::Press: return "press_key";
	case EInputEventKind::MouseMove: return "mouse_move";
	case EInputEventKind::Click: return "click";
	}
	return "press_key";
}
}
