// Objects and reflection, the engine's UObject / UClass / FProperty / FWeakObjectPtr.
//
// The editor module reads and writes game state only through these: every object has a name, a path name,
// a class and an outer; a class knows its super class and its reflected properties; a property value is
// read and written as a typed FPropertyValue. The host owns every object; callers keep FWeakObjectPtr
// handles across frames, because an object may be destroyed at any time (actors, a whole PIE world), and a
// weak handle then answers null instead of a dangling pointer. Raw pointers are valid for the current call
// on the game thread only.
//
// Implemented by the host (the simulated editor, or an adapter over the real engine). Game thread only.
#pragma once
#include "HostTypes.h"
#include "MathTypes.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class UObject;
class UClass;

/** The kinds of reflected property the host supports. */
enum class EPropertyType : uint8
{
	Bool,
	Int32,
	Int64,
	Float,
	Double,
	Enum,
	String, // FString
	Name,   // FName
	Text,   // FText
	Vector,
	Rotator,
	Object,     // TObjectPtr<U...>
	Class,      // TSubclassOf<U...>
	SoftObject, // TSoftObjectPtr: a path, resolved on demand
	SoftClass,  // TSoftClassPtr
	Struct,
	Array,
};

/** The engine's name for the property class ("FloatProperty", "StructProperty", ...). */
const char* LexToString(EPropertyType Type);

namespace Tarnwick::Host
{
/** Shared by an object and every weak handle to it; the host clears Object when the object is destroyed. */
struct FObjectLifetime
{
	UObject* Object = nullptr;
};
}

/** A handle that answers null once its object has been destroyed (the engine's FWeakObjectPtr). */
class FWeakObjectPtr
{
public:
	FWeakObjectPtr() = default;
	FWeakObjectPtr(const UObject* Object);

	UObject* Get() const { return Lifetime ? Lifetime->Object : nullptr; }
	bool IsValid() const { return Get() != nullptr; }
	/** True when the handle was set to an object that has since been destroyed. */
	bool IsStale() const { return Lifetime && !Lifetime->Object; }
	bool IsExplicitlyNull() const { return !Lifetime; }
	void Reset() { Lifetime.reset(); }
	/** Two handles are equal when they were made from the same object (destroyed or not). */
	bool operator==(const FWeakObjectPtr& Other) const { return Lifetime == Other.Lifetime; }

private:
	std::shared_ptr<Tarnwick::Host::FObjectLifetime> Lifetime;
};

template <typename T>
class TWeakObjectPtr
{
public:
	TWeakObjectPtr() = default;
	TWeakObjectPtr(const T* Object) : Ptr(Object) {}
	T* Get() const { return static_cast<T*>(Ptr.Get()); }
	T* operator->() const { return Get(); }
	bool IsValid() const { return Ptr.IsValid(); }
	bool IsStale() const { return Ptr.IsStale(); }
	void Reset() { Ptr.Reset(); }
	bool operator==(const TWeakObjectPtr& Other) const = default;

private:
	FWeakObjectPtr Ptr;
};

/** One named value of an enumeration. */
struct FEnumEntry
{
	std::string Name; // short name without the enum prefix ("MOVE_Walking" keeps its own spelling)
	int64 Value = 0;
};

/**
 * A reflected property: its name, kind and the type details a value needs. Plain data, so that any host can
 * describe its properties the same way; a class owns its properties and hands out const pointers.
 */
struct FProperty
{
	std::string Name;
	EPropertyType Type = EPropertyType::Bool;
	/** The C++ type as the engine prints it ("float", "FVector", "TArray<int32>", "TSubclassOf<APawn>"). */
	std::string CPPType;
	/** Enum: the enum's name and values. */
	std::string EnumName;
	std::vector<FEnumEntry> EnumEntries;
	/** Object, Class, SoftObject, SoftClass: path of the class the referenced object (or class) must be. */
	std::string PropertyClassPath;
	/** Struct: the struct's name and its fields in declaration order. */
	std::string StructName;
	std::vector<FProperty> Fields;
	/** Array: the element property. */
	std::shared_ptr<const FProperty> Inner;

	const FProperty* FindField(std::string_view FieldName) const;
	const FEnumEntry* FindEnumEntry(std::string_view EntryName) const;
	const FEnumEntry* FindEnumEntry(int64 Value) const;
};

struct FPropertyField;

/**
 * A typed property value. Which members are meaningful depends on Type:
 * Bool bValue; Int32/Int64 IntValue; Float/Double DoubleValue; Enum IntValue and StringValue (the entry's name);
 * String/Name/Text StringValue; Vector VectorValue; Rotator RotatorValue; Object/Class ObjectValue (a class
 * reference holds the UClass); SoftObject/SoftClass StringValue (the path, empty for none);
 * Struct Fields (name, value) in declaration order; Array Elements.
 */
struct FPropertyValue
{
	EPropertyType Type = EPropertyType::Bool;
	bool bValue = false;
	int64 IntValue = 0;
	double DoubleValue = 0.0;
	std::string StringValue;
	FVector VectorValue;
	FRotator RotatorValue;
	FWeakObjectPtr ObjectValue;
	std::vector<FPropertyField> Fields;
	std::vector<FPropertyValue> Elements;

	static FPropertyValue MakeBool(bool V);
	static FPropertyValue MakeInt32(int32 V);
	static FPropertyValue MakeInt64(int64 V);
	static FPropertyValue MakeFloat(float V);
	static FPropertyValue MakeDouble(double V);
	static FPropertyValue MakeEnum(std::string EntryName, int64 V);
	static FPropertyValue MakeString(EPropertyType StringType, std::string V);
	static FPropertyValue MakeVector(const FVector& V);
	static FPropertyValue MakeRotator(const FRotator& V);
	static FPropertyValue MakeObject(const UObject* V);
	static FPropertyValue MakeClass(const UClass* V);
	static FPropertyValue MakeSoftPath(EPropertyType SoftType, std::string Path);

	const FPropertyValue* FindField(std::string_view FieldName) const;
	/** Equal kind and equal content; object values compare the referenced object. */
	bool operator==(const FPropertyValue& Other) const;
};

/** One field of a struct value, in declaration order. (A struct rather than a std::pair: a pair may not hold the
 *  still-incomplete FPropertyValue it is declared inside, and not every standard library lets it.) */
struct FPropertyField
{
	std::string Name;
	FPropertyValue Value;

	FPropertyField() = default;
	FPropertyField(std::string InName, FPropertyValue InValue) : Name(std::move(InName)), Value(std::move(InValue)) {}
	bool operator==(const FPropertyField& Other) const { return Name == Other.Name && Value == Other.Value; }
};

/** The root of every host object. */
class UObject
{
public:
	UObject();
	virtual ~UObject();
	UObject(const UObject&) = delete;
	UObject& operator=(const UObject&) = delete;

	/** The object's short name ("BP_Hero_C_0", "PersistentLevel"). */
	virtual std::string GetName() const = 0;
	/** The full path, "/Game/Maps/Arena.Arena:PersistentLevel.Floor" (':' after the package's top object). */
	virtual std::string GetPathName() const = 0;
	virtual UClass* GetClass() const = 0;
	/** The object this one lives in; null only for packages. */
	virtual UObject* GetOuter() const = 0;
	/** True once the object was destroyed (the engine's pending-kill); weak handles already answer null. */
	virtual bool IsPendingKill() const = 0;

	/** Reads a property of this object's class. False when the property does not belong to the class. */
	virtual bool GetPropertyValue(const FProperty& Property, FPropertyValue& OutValue) const = 0;
	/**
	 * Writes a property. The value must have the property's type (an Int32 value is accepted for Int64, Float
	 * and Double, a Float for Double and the reverse); enum values are matched by name when one is given, else
	 * by number; object and class values must be of the property's class. On failure OutError tells why.
	 */
	virtual bool SetPropertyValue(const FProperty& Property, const FPropertyValue& Value, std::string* OutError) = 0;

	/** The top-most outer (the package). */
	UObject* GetOutermost() const;
	bool IsA(const UClass* Class) const;

	std::shared_ptr<Tarnwick::Host::FObjectLifetime> GetLifetime() const { return Lifetime; }

protected:
	/** Called by the host when it destroys the object: every weak handle answers null from now on. */
	void ClearWeakHandles() { Lifetime->Object = nullptr; }

private:
	std::shared_ptr<Tarnwick::Host::FObjectLifetime> Lifetime;
};

/** A class: native ("/Script/Engine.Character") or generated by a Blueprint ("/Game/BP_Hero.BP_Hero_C"). */
class UClass : public UObject
{
public:
	virtual UClass* GetSuperClass() const = 0;
	/** Finds a property of this class or a super class; names compare without regard to case, as FNames do. */
	virtual const FProperty* FindPropertyByName(std::string_view Name) const = 0;
	/** Every property, those of the root-most class first, each class's in declaration order. */
	virtual std::vector<const FProperty*> GetProperties() const = 0;
	/** The class default object, which holds the default value of every property. */
	virtual UObject* GetDefaultObject() const = 0;
	/** True for native classes, false for classes generated by a Blueprint. */
	virtual bool IsNative() const = 0;

	/** True when this class is Other or derives from it. */
	bool IsChildOf(const UClass* Other) const;
};

/** True for a live object: not null and not destroyed (the engine's IsValid). */
inline bool IsValid(const UObject* Object) { return Object && !Object->IsPendingKill(); }

template <typename T>
T* Cast(UObject* Object) { return dynamic_cast<T*>(Object); }
template <typename T>
const T* Cast(const UObject* Object) { return dynamic_cast<const T*>(Object); }
