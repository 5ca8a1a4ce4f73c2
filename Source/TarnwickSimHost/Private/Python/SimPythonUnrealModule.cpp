// The `unreal` Python module of the simulated editor: logging, finding actors, reading and writing reflected
// properties, console commands. docs/python.md documents it.
#if TARNWICK_WITH_PYTHON
#include "Python/SimPythonEmbed.h"

#include "Editor.h"
#include "Engine.h"
#include "Python/SimPythonCapture.h"
#include "SimPythonNames.h"
#include "World.h"

#include <cstring>
#include <limits>
#include <new>

namespace Tarnwick::Sim::Python
{
namespace
{
// --- unreal.Object: a weak handle to an engine object ---

struct FPyObjectHandle
{
	PyObject_HEAD
	FWeakObjectPtr Handle;
};

PyTypeObject* GObjectType = nullptr;
PyObject* GModule = nullptr;

PyObject* Wrap(const UObject* Object)
{
	if (!Object) Py_RETURN_NONE;
	FPyObjectHandle* Self = PyObject_New(FPyObjectHandle, GObjectType);
	if (!Self) return nullptr;
	new (&Self->Handle) FWeakObjectPtr(Object);
	return reinterpret_cast<PyObject*>(Self);
}

FPyObjectHandle* AsHandle(PyObject* Self) { return reinterpret_cast<FPyObjectHandle*>(Self); }

bool IsHandle(PyObject* Object) { return Object && PyObject_TypeCheck(Object, GObjectType); }

/** The live object behind a handle; null with RuntimeError set when it was destroyed. */
UObject* Resolve(PyObject* Self)
{
	UObject* Object = AsHandle(Self)->Handle.Get();
	if (!IsValid(Object))
	{
		PyErr_SetString(PyExc_RuntimeError, "the object behind this handle has been destroyed");
		return nullptr;
	}
	return Object;
}

AActor* ResolveActor(PyObject* Self)
{
	UObject* Object = Resolve(Self);
	if (!Object) return nullptr;
	auto* Actor = Cast<AActor>(Object);
	if (!Actor) PyErr_Format(PyExc_TypeError, "'%s' is not an actor", Object->GetName().c_str());
	return Actor;
}

void ObjectDealloc(PyObject* Self)
{
	AsHandle(Self)->Handle.~FWeakObjectPtr();
	PyTypeObject* Type = Py_TYPE(Self);
	Type->tp_free(Self);
	Py_DECREF(Type);
}

PyObject* ObjectRepr(PyObject* Self)
{
	const UObject* Object = AsHandle(Self)->Handle.Get();
	if (!IsValid(Object)) return PyUnicode_FromString("<unreal.Object (destroyed)>");
	return PyUnicode_FromFormat("<unreal.Object '%s' of class %s>", Object->GetPathName().c_str(), Object->GetClass()->GetName().c_str());
}

PyObject* ObjectCompare(PyObject* Self, PyObject* Other, int Op)
{
	if (!IsHandle(Other) || (Op != Py_EQ && Op != Py_NE)) Py_RETURN_NOTIMPLEMENTED;
	const bool bSame = AsHandle(Self)->Handle == AsHandle(Other)->Handle;
	return PyBool_FromLong((Op == Py_EQ) == bSame);
}

Py_hash_t ObjectHash(PyObject* Self)
{
	const Py_hash_t H = static_cast<Py_hash_t>(reinterpret_cast<uintptr_t>(AsHandle(Self)->Handle.Get()) >> 4);
	return H == -1 ? -2 : H;
}

// --- Values between the engine and Python ---

PyObject* MakeStruct(const char* Class, double A, double B, double C)
{
	PyObject* Type = PyObject_GetAttrString(GModule, Class);
	if (!Type) return nullptr;
	PyObject* Out = PyObject_CallFunction(Type, "ddd", A, B, C);
	Py_DECREF(Type);
	return Out;
}

PyObject* FromUtf8(const std::string& Text) { return PyUnicode_DecodeUTF8(Text.data(), static_cast<Py_ssize_t>(Text.size()), "replace"); }

PyObject* ToPython(const FPropertyValue& V)
{
	switch (V.Type)
	{
	case EPropertyType::Bool: return PyBool_FromLong(V.bValue);
	case EPropertyType::Int32:
	case EPropertyType::Int64: return PyLong_FromLongLong(V.IntValue);
	case EPropertyType::Float:
	case EPropertyType::Double: return PyFloat_FromDouble(V.DoubleValue);
	case EPropertyType::Enum:
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass: return FromUtf8(V.StringValue);
	case EPropertyType::Vector: return MakeStruct("Vector", V.VectorValue.X, V.VectorValue.Y, V.VectorValue.Z);
	case EPropertyType::Rotator: return MakeStruct("Rotator", V.RotatorValue.Pitch, V.RotatorValue.Yaw, V.RotatorValue.Roll);
	case EPropertyType::Object:
	case EPropertyType::Class: return Wrap(V.ObjectValue.Get());
	case EPropertyType::Struct:
	{
		PyObject* Dict = PyDict_New();
		for (const FPropertyField& F : V.Fields)
		{
			PyObject* Item = ToPython(F.Value);
			if (!Item || PyDict_SetItemString(Dict, PythonizePropertyName(F.Name, F.Value.Type == EPropertyType::Bool).c_str(), Item) < 0)
			{
				Py_XDECREF(Item);
				Py_DECREF(Dict);
				return nullptr;
			}
			Py_DECREF(Item);
		}
		return Dict;
	}
	case EPropertyType::Array:
	{
		PyObject* List = PyList_New(static_cast<Py_ssize_t>(V.Elements.size()));
		for (size_t I = 0; I < V.Elements.size(); ++I)
		{
			PyObject* Item = ToPython(V.Elements[I]);
			if (!Item)
			{
				Py_DECREF(List);
				return nullptr;
			}
			PyList_SET_ITEM(List, static_cast<Py_ssize_t>(I), Item);
		}
		return List;
	}
	}
	Py_RETURN_NONE;
}

bool WrongType(const FProperty& P, const char* Wanted, PyObject* Got)
{
	PyErr_Format(PyExc_TypeError, "property '%s' takes %s, not %s", P.Name.c_str(), Wanted, Py_TYPE(Got)->tp_name);
	return false;
}

bool IsNumber(PyObject* O) { return (PyLong_Check(O) || PyFloat_Check(O)) && !PyBool_Check(O); }

/** Three numbers from named attributes (a Vector or Rotator) or from a sequence of three. */
bool ReadTriple(PyObject* O, const char* const Names[3], double Out[3])
{
	if (PyObject_HasAttrString(O, Names[0]))
	{
		for (int I = 0; I < 3; ++I)
		{
			PyObject* A = PyObject_GetAttrString(O, Names[I]);
			const bool bOk = A && IsNumber(A);
			Out[I] = bOk ? PyFloat_AsDouble(A) : 0.0;
			Py_XDECREF(A);
			if (!bOk) return false;
		}
		return true;
	}
	if (!PySequence_Check(O) || PyUnicode_Check(O) || PySequence_Size(O) != 3)
	{
		PyErr_Clear();
		return false;
	}
	for (Py_ssize_t I = 0; I < 3; ++I)
	{
		PyObject* Item = PySequence_GetItem(O, I);
		const bool bOk = Item && IsNumber(Item);
		Out[I] = bOk ? PyFloat_AsDouble(Item) : 0.0;
		Py_XDECREF(Item);
		if (!bOk) return false;
	}
	return true;
}

bool FromPython(const FProperty& P, PyObject* O, const FPropertyValue* Current, FPropertyValue& Out)
{
	switch (P.Type)
	{
	case EPropertyType::Bool:
		if (!PyBool_Check(O)) return WrongType(P, "a bool", O);
		Out = FPropertyValue::MakeBool(O == Py_True);
		return true;
	case EPropertyType::Int32:
	case EPropertyType::Int64:
	{
		if (!PyLong_Check(O) || PyBool_Check(O)) return WrongType(P, "an int", O);
		const long long V = PyLong_AsLongLong(O);
		if (V == -1 && PyErr_Occurred()) return false;
		if (P.Type == EPropertyType::Int32)
		{
			if (V < std::numeric_limits<int32>::min() || V > std::numeric_limits<int32>::max())
			{
				PyErr_Format(PyExc_OverflowError, "property '%s' is a 32-bit integer; %lld does not fit", P.Name.c_str(), V);
				return false;
			}
			Out = FPropertyValue::MakeInt32(static_cast<int32>(V));
		}
		else
		{
			Out = FPropertyValue::MakeInt64(V);
		}
		return true;
	}
	case EPropertyType::Float:
	case EPropertyType::Double:
		if (!IsNumber(O)) return WrongType(P, "a number", O);
		Out = P.Type == EPropertyType::Float ? FPropertyValue::MakeFloat(static_cast<float>(PyFloat_AsDouble(O)))
											 : FPropertyValue::MakeDouble(PyFloat_AsDouble(O));
		return true;
	case EPropertyType::Enum:
		if (PyUnicode_Check(O))
		{
			Out = FPropertyValue::MakeEnum(ToUtf8(O), 0);
			return true;
		}
		if (PyLong_Check(O) && !PyBool_Check(O))
		{
			Out = FPropertyValue::MakeEnum(std::string(), PyLong_AsLongLong(O));
			return !PyErr_Occurred();
		}
		return WrongType(P, "an enum value's name or number", O);
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
		if (!PyUnicode_Check(O)) return WrongType(P, "a str", O);
		Out = FPropertyValue::MakeString(P.Type, ToUtf8(O));
		return true;
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass:
		if (O != Py_None && !PyUnicode_Check(O)) return WrongType(P, "a path (str) or None", O);
		Out = FPropertyValue::MakeSoftPath(P.Type, O == Py_None ? std::string() : ToUtf8(O));
		return true;
	case EPropertyType::Vector:
	{
		static const char* const Names[3] = {"x", "y", "z"};
		double V[3];
		if (!ReadTriple(O, Names, V)) return WrongType(P, "a Vector or three numbers", O);
		Out = FPropertyValue::MakeVector(FVector(V[0], V[1], V[2]));
		return true;
	}
	case EPropertyType::Rotator:
	{
		static const char* const Names[3] = {"pitch", "yaw", "roll"};
		double V[3];
		if (!ReadTriple(O, Names, V)) return WrongType(P, "a Rotator or three numbers", O);
		Out = FPropertyValue::MakeRotator(FRotator(V[0], V[1], V[2]));
		return true;
	}
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		if (O == Py_None)
		{
			Out = P.Type == EPropertyType::Object ? FPropertyValue::MakeObject(nullptr) : FPropertyValue::MakeClass(nullptr);
			return true;
		}
		if (!IsHandle(O)) return WrongType(P, "an unreal.Object or None", O);
		UObject* Object = Resolve(O);
		if (!Object) return false;
		if (P.Type == EPropertyType::Object)
		{
			Out = FPropertyValue::MakeObject(Object);
			return true;
		}
		auto* Class = Cast<UClass>(Object);
		if (!Class) return WrongType(P, "a class", O);
		Out = FPropertyValue::MakeClass(Class);
		return true;
	}
	case EPropertyType::Struct:
	{
		if (!PyDict_Check(O)) return WrongType(P, "a dict of fields", O);
		// Fields not named keep their current values.
		Out = Current ? *Current : FPropertyValue();
		Out.Type = EPropertyType::Struct;
		PyObject* Key = nullptr;
		PyObject* Item = nullptr;
		Py_ssize_t Pos = 0;
		while (PyDict_Next(O, &Pos, &Key, &Item))
		{
			const std::string Name = PyUnicode_Check(Key) ? ToUtf8(Key) : std::string();
			const FProperty* Field = nullptr;
			for (const FProperty& F : P.Fields)
			{
				if (PythonizePropertyName(F.Name, F.Type == EPropertyType::Bool) == Name || F.Name == Name) Field = &F;
			}
			if (!Field)
			{
				PyErr_Format(PyExc_KeyError, "struct '%s' of property '%s' has no field '%s'", P.StructName.c_str(), P.Name.c_str(), Name.c_str());
				return false;
			}
			FPropertyValue FieldValue;
			const FPropertyValue* CurrentField = Out.FindField(Field->Name);
			if (!FromPython(*Field, Item, CurrentField, FieldValue)) return false;
			bool bSet = false;
			for (FPropertyField& Existing : Out.Fields)
			{
				if (Existing.Name == Field->Name)
				{
					Existing.Value = FieldValue;
					bSet = true;
				}
			}
			if (!bSet) Out.Fields.emplace_back(Field->Name, FieldValue);
		}
		return true;
	}
	case EPropertyType::Array:
	{
		if (!PyList_Check(O) && !PyTuple_Check(O)) return WrongType(P, "a list", O);
		if (!P.Inner) return WrongType(P, "nothing (the array has no element type)", O);
		Out = FPropertyValue();
		Out.Type = EPropertyType::Array;
		const Py_ssize_t N = PySequence_Size(O);
		for (Py_ssize_t I = 0; I < N; ++I)
		{
			PyObject* Item = PySequence_GetItem(O, I);
			FPropertyValue Element;
			const bool bOk = Item && FromPython(*P.Inner, Item, nullptr, Element);
			Py_XDECREF(Item);
			if (!bOk) return false;
			Out.Elements.push_back(std::move(Element));
		}
		return true;
	}
	}
	return WrongType(P, "a value of a kind this module does not write", O);
}

const FProperty* FindPropertyOrRaise(UObject* Object, PyObject* NameObject, std::string& OutName)
{
	if (!PyUnicode_Check(NameObject))
	{
		PyErr_SetString(PyExc_TypeError, "a property name must be a str");
		return nullptr;
	}
	OutName = ToUtf8(NameObject);
	const FProperty* P = FindPropertyForPython(Object->GetClass(), OutName);
	if (!P) PyErr_Format(PyExc_AttributeError, "%s has no property '%s'", Object->GetClass()->GetName().c_str(), OutName.c_str());
	return P;
}

// --- unreal.Object methods ---

PyObject* ObjectGetName(PyObject* Self, PyObject*)
{
	UObject* O = Resolve(Self);
	return O ? FromUtf8(O->GetName()) : nullptr;
}

PyObject* ObjectGetPathName(PyObject* Self, PyObject*)
{
	UObject* O = Resolve(Self);
	return O ? FromUtf8(O->GetPathName()) : nullptr;
}

PyObject* ObjectGetClass(PyObject* Self, PyObject*)
{
	UObject* O = Resolve(Self);
	return O ? Wrap(O->GetClass()) : nullptr;
}

PyObject* ObjectIsValid(PyObject* Self, PyObject*) { return PyBool_FromLong(IsValid(AsHandle(Self)->Handle.Get())); }

PyObject* ObjectGetEditorProperty(PyObject* Self, PyObject* Name)
{
	UObject* O = Resolve(Self);
	if (!O) return nullptr;
	std::string PropertyName;
	const FProperty* P = FindPropertyOrRaise(O, Name, PropertyName);
	if (!P) return nullptr;
	FPropertyValue Value;
	if (!O->GetPropertyValue(*P, Value))
	{
		PyErr_Format(PyExc_RuntimeError, "could not read property '%s'", P->Name.c_str());
		return nullptr;
	}
	return ToPython(Value);
}

PyObject* ObjectSetEditorProperty(PyObject* Self, PyObject* Args)
{
	PyObject* Name = nullptr;
	PyObject* Value = nullptr;
	if (!PyArg_ParseTuple(Args, "OO:set_editor_property", &Name, &Value)) return nullptr;
	UObject* O = Resolve(Self);
	if (!O) return nullptr;
	std::string PropertyName;
	const FProperty* P = FindPropertyOrRaise(O, Name, PropertyName);
	if (!P) return nullptr;
	FPropertyValue Current;
	const bool bHasCurrent = O->GetPropertyValue(*P, Current);
	FPropertyValue NewValue;
	if (!FromPython(*P, Value, bHasCurrent ? &Current : nullptr, NewValue)) return nullptr;
	std::string Error;
	if (!O->SetPropertyValue(*P, NewValue, &Error))
	{
		PyErr_Format(PyExc_ValueError, "cannot set '%s': %s", P->Name.c_str(), Error.c_str());
		return nullptr;
	}
	Py_RETURN_NONE;
}

PyObject* ActorGetLabel(PyObject* Self, PyObject*)
{
	AActor* A = ResolveActor(Self);
	return A ? FromUtf8(A->GetActorLabel()) : nullptr;
}

PyObject* ActorGetLocation(PyObject* Self, PyObject*)
{
	AActor* A = ResolveActor(Self);
	if (!A) return nullptr;
	const FVector L = A->GetActorLocation();
	return MakeStruct("Vector", L.X, L.Y, L.Z);
}

PyObject* ActorGetRotation(PyObject* Self, PyObject*)
{
	AActor* A = ResolveActor(Self);
	if (!A) return nullptr;
	const FRotator R = A->GetActorRotation();
	return MakeStruct("Rotator", R.Pitch, R.Yaw, R.Roll);
}

PyObject* ActorSetLocation(PyObject* Self, PyObject* Value)
{
	AActor* A = ResolveActor(Self);
	if (!A) return nullptr;
	static const char* const Names[3] = {"x", "y", "z"};
	double V[3];
	if (!ReadTriple(Value, Names, V))
	{
		PyErr_Format(PyExc_TypeError, "set_actor_location takes a Vector or three numbers, not %s", Py_TYPE(Value)->tp_name);
		return nullptr;
	}
	A->SetActorLocation(FVector(V[0], V[1], V[2]));
	Py_RETURN_NONE;
}

PyObject* ActorSetRotation(PyObject* Self, PyObject* Value)
{
	AActor* A = ResolveActor(Self);
	if (!A) return nullptr;
	static const char* const Names[3] = {"pitch", "yaw", "roll"};
	double V[3];
	if (!ReadTriple(Value, Names, V))
	{
		PyErr_Format(PyExc_TypeError, "set_actor_rotation takes a Rotator or three numbers, not %s", Py_TYPE(Value)->tp_name);
		return nullptr;
	}
	A->SetActorRotation(FRotator(V[0], V[1], V[2]));
	Py_RETURN_NONE;
}

PyObject* ActorGetComponents(PyObject* Self, PyObject*)
{
	AActor* A = ResolveActor(Self);
	if (!A) return nullptr;
	const std::vector<UActorComponent*> Components = A->GetComponents();
	PyObject* List = PyList_New(0);
	for (UActorComponent* C : Components)
	{
		PyObject* Item = Wrap(C);
		PyList_Append(List, Item);
		Py_DECREF(Item);
	}
	return List;
}

PyMethodDef ObjectMethods[] = {
	{"get_name", ObjectGetName, METH_NOARGS, "The object's name."},
	{"get_path_name", ObjectGetPathName, METH_NOARGS, "The object's full path name."},
	{"get_class", ObjectGetClass, METH_NOARGS, "The object's class, as an unreal.Object."},
	{"is_valid", ObjectIsValid, METH_NOARGS, "False once the object has been destroyed."},
	{"get_editor_property", ObjectGetEditorProperty, METH_O, "Reads a reflected property by its name or its Python name."},
	{"set_editor_property", ObjectSetEditorProperty, METH_VARARGS, "Writes a reflected property by its name or its Python name."},
	{"get_actor_label", ActorGetLabel, METH_NOARGS, "An actor's Outliner label."},
	{"get_actor_location", ActorGetLocation, METH_NOARGS, "An actor's location, as an unreal.Vector."},
	{"set_actor_location", ActorSetLocation, METH_O, "Moves an actor."},
	{"get_actor_rotation", ActorGetRotation, METH_NOARGS, "An actor's rotation, as an unreal.Rotator."},
	{"set_actor_rotation", ActorSetRotation, METH_O, "Turns an actor."},
	{"get_components", ActorGetComponents, METH_NOARGS, "An actor's components, the root first."},
	{nullptr, nullptr, 0, nullptr},
};

// --- Module functions ---

/** The world scripts act on: the PIE world while PIE runs, else the editor world. */
UWorld* ScriptWorld()
{
	if (!GEditor) return nullptr;
	UWorld* Pie = GEditor->GetPlayWorld();
	return Pie ? Pie : GEditor->GetEditorWorld();
}

PyObject* LogAs(PyObject* Message, EPythonLogOutputType Type)
{
	PyObject* Text = PyObject_Str(Message);
	if (!Text) return nullptr;
	FOutputCapture::Message(Type, ToUtf8(Text));
	Py_DECREF(Text);
	Py_RETURN_NONE;
}

PyObject* ModuleLog(PyObject*, PyObject* Message) { return LogAs(Message, EPythonLogOutputType::Info); }
PyObject* ModuleLogWarning(PyObject*, PyObject* Message) { return LogAs(Message, EPythonLogOutputType::Warning); }
PyObject* ModuleLogError(PyObject*, PyObject* Message) { return LogAs(Message, EPythonLogOutputType::Error); }

PyObject* ModuleWrite(PyObject*, PyObject* Args)
{
	const char* Text = nullptr;
	Py_ssize_t Size = 0;
	int bStdErr = 0;
	if (!PyArg_ParseTuple(Args, "s#p:_write", &Text, &Size, &bStdErr)) return nullptr;
	FOutputCapture::Write(std::string_view(Text, static_cast<size_t>(Size)), bStdErr != 0);
	Py_RETURN_NONE;
}

PyObject* ModuleFindActorByLabel(PyObject*, PyObject* Label)
{
	if (!PyUnicode_Check(Label))
	{
		PyErr_SetString(PyExc_TypeError, "find_actor_by_label takes a str");
		return nullptr;
	}
	const std::string Wanted = ToUtf8(Label);
	UWorld* World = ScriptWorld();
	if (World)
	{
		for (AActor* A : World->GetActors())
		{
			if (A->GetActorLabel() == Wanted) return Wrap(A);
		}
	}
	Py_RETURN_NONE;
}

PyObject* ModuleGetAllActors(PyObject*, PyObject*)
{
	PyObject* List = PyList_New(0);
	if (UWorld* World = ScriptWorld())
	{
		for (AActor* A : World->GetActors())
		{
			PyObject* Item = Wrap(A);
			PyList_Append(List, Item);
			Py_DECREF(Item);
		}
	}
	return List;
}

PyObject* ModuleGetPlayerPawn(PyObject*, PyObject*)
{
	UWorld* Pie = GEditor ? GEditor->GetPlayWorld() : nullptr;
	APlayerController* Player = Pie ? Pie->GetFirstPlayerController() : nullptr;
	return Wrap(Player ? Player->GetPawn() : nullptr);
}

PyObject* ModuleGetWorldType(PyObject*, PyObject*)
{
	UWorld* World = ScriptWorld();
	if (!World) Py_RETURN_NONE;
	return PyUnicode_FromString(LexToString(World->GetWorldType()));
}

PyObject* ModuleExecuteConsoleCommand(PyObject*, PyObject* Command)
{
	if (!PyUnicode_Check(Command))
	{
		PyErr_SetString(PyExc_TypeError, "execute_console_command takes a str");
		return nullptr;
	}
	const std::string Cmd = ToUtf8(Command);
	UWorld* World = ScriptWorld();
	// As the harness does: through the player's console when there is a player, else straight to the engine.
	if (APlayerController* Player = World ? World->GetFirstPlayerController() : nullptr)
	{
		return FromUtf8(Player->ConsoleCommand(Cmd, true));
	}
	if (!GEngine)
	{
		PyErr_SetString(PyExc_RuntimeError, "there is no engine to run console commands");
		return nullptr;
	}
	FStringOutputDevice Out;
	if (!GEngine->Exec(World, Cmd, Out))
	{
		Out.Log("LogConsoleResponse", ELogVerbosity::Display, "Command not recognized: " + Cmd);
	}
	if (!Out.IsEmpty()) GLog->Serialize(Out.GetText(), ELogVerbosity::Display, "LogConsoleResponse");
	return FromUtf8(Out.GetText());
}

PyMethodDef ModuleMethods[] = {
	{"log", ModuleLog, METH_O, "Logs a message on LogPython."},
	{"log_warning", ModuleLogWarning, METH_O, "Logs a warning on LogPython."},
	{"log_error", ModuleLogError, METH_O, "Logs an error on LogPython."},
	{"find_actor_by_label", ModuleFindActorByLabel, METH_O, "The first actor with this Outliner label, or None."},
	{"get_all_actors", ModuleGetAllActors, METH_NOARGS, "Every actor of the world scripts act on."},
	{"get_player_pawn", ModuleGetPlayerPawn, METH_NOARGS, "The PIE player's pawn, or None."},
	{"get_world_type", ModuleGetWorldType, METH_NOARGS, "\"PIE\" while PIE runs, else \"Editor\"."},
	{"execute_console_command", ModuleExecuteConsoleCommand, METH_O, "Runs a console command; returns what it printed."},
	{"_write", ModuleWrite, METH_VARARGS, "sys.stdout and sys.stderr write here."},
	{nullptr, nullptr, 0, nullptr},
};

PyModuleDef UnrealModuleDef = {
	PyModuleDef_HEAD_INIT, "unreal", "The simulated Unreal Editor, as scripts see it.", -1, ModuleMethods, nullptr, nullptr, nullptr, nullptr};

// The value types are plain Python.
const char* const ValueTypesSource = R"PY(
class Vector:
    """A location or direction in centimetres (the engine's FVector)."""
    __slots__ = ("x", "y", "z")

    def __init__(self, x=0.0, y=0.0, z=0.0):
        self.x, self.y, self.z = float(x), float(y), float(z)

    def __repr__(self):
        return f"Vector(x={self.x!r}, y={self.y!r}, z={self.z!r})"

    def __eq__(self, other):
        return isinstance(other, Vector) and (self.x, self.y, self.z) == (other.x, other.y, other.z)

    def __iter__(self):
        return iter((self.x, self.y, self.z))

    def length(self):
        return (self.x * self.x + self.y * self.y + self.z * self.z) ** 0.5


class Rotator:
    """A rotation in degrees (the engine's FRotator)."""
    __slots__ = ("pitch", "yaw", "roll")

    def __init__(self, pitch=0.0, yaw=0.0, roll=0.0):
        self.pitch, self.yaw, self.roll = float(pitch), float(yaw), float(roll)

    def __repr__(self):
        return f"Rotator(pitch={self.pitch!r}, yaw={self.yaw!r}, roll={self.roll!r})"

    def __eq__(self, other):
        return isinstance(other, Rotator) and (self.pitch, self.yaw, self.roll) == (other.pitch, other.yaw, other.roll)

    def __iter__(self):
        return iter((self.pitch, self.yaw, self.roll))
)PY";
}

std::string ToUtf8(PyObject* Object)
{
	PyObject* Text = PyUnicode_Check(Object) ? (Py_INCREF(Object), Object) : PyObject_Str(Object);
	if (!Text)
	{
		PyErr_Clear();
		return std::string();
	}
	Py_ssize_t Size = 0;
	const char* Data = PyUnicode_AsUTF8AndSize(Text, &Size);
	std::string Out = Data ? std::string(Data, static_cast<size_t>(Size)) : std::string();
	if (!Data) PyErr_Clear();
	Py_DECREF(Text);
	return Out;
}

PyObject* CreateUnrealModule()
{
	static PyType_Slot ObjectSlots[] = {
		{Py_tp_dealloc, reinterpret_cast<void*>(ObjectDealloc)},
		{Py_tp_repr, reinterpret_cast<void*>(ObjectRepr)},
		{Py_tp_richcompare, reinterpret_cast<void*>(ObjectCompare)},
		{Py_tp_hash, reinterpret_cast<void*>(ObjectHash)},
		{Py_tp_methods, ObjectMethods},
		{Py_tp_doc, const_cast<char*>("A handle to an engine object; it answers RuntimeError once the object is destroyed.")},
		{0, nullptr},
	};
	static PyType_Spec ObjectSpec = {"unreal.Object", sizeof(FPyObjectHandle), 0, Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, ObjectSlots};

	PyObject* Module = PyModule_Create(&UnrealModuleDef);
	if (!Module) return nullptr;
	GObjectType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&ObjectSpec));
	if (!GObjectType || PyModule_AddObjectRef(Module, "Object", reinterpret_cast<PyObject*>(GObjectType)) < 0)
	{
		Py_DECREF(Module);
		return nullptr;
	}
	PyObject* Dict = PyModule_GetDict(Module);
	PyDict_SetItemString(Dict, "__builtins__", PyEval_GetBuiltins());
	PyObject* Ran = PyRun_String(ValueTypesSource, Py_file_input, Dict, Dict);
	if (!Ran)
	{
		Py_DECREF(Module);
		return nullptr;
	}
	Py_DECREF(Ran);
	GModule = Module;
	return Module;
}
}

extern "C" PyObject* PyInit_unreal() { return Tarnwick::Sim::Python::CreateUnrealModule(); }
#endif
