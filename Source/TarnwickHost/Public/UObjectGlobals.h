// Finding and loading objects and packages by path: the engine's StaticFindObject / StaticLoadObject /
// StaticLoadClass, TObjectIterator<UBlueprint> and FPackageName.
//
// Long package names are "/Game/Maps/Arena" (mount point, folders, asset name); an object path adds the
// object, "/Game/Maps/Arena.Arena"; a class path names a class, "/Script/Engine.Character" or
// "/Game/Blueprints/BP_Hero.BP_Hero_C". /Game/ is the project's Content folder, /Engine/ the engine's content,
// /Script/ native classes.
//
// The host installs its object system with SetObjectSystem; game thread only.
#pragma once
#include "Blueprint.h"
#include "Object.h"

#include <string>
#include <vector>

class IObjectSystem
{
public:
	virtual ~IObjectSystem() = default;
	/** An object already in memory, by path; null when none. Does not load. */
	virtual UObject* FindObject(const std::string& ObjectPath) const = 0;
	/** Finds or loads an object by path; on failure null and OutError says why (naming the file when a file was bad). */
	virtual UObject* LoadObject(const std::string& ObjectPath, std::string* OutError) = 0;
	/** As LoadObject, for a class path; also fails when the object is not a class. */
	virtual UClass* LoadClass(const std::string& ClassPath, std::string* OutError) = 0;
	/** Every Blueprint in memory, in load order. */
	virtual std::vector<UBlueprint*> GetLoadedBlueprints() const = 0;
	/** Whether a package of this long name exists (on disk or in the engine's built-in content). */
	virtual bool DoesPackageExist(const std::string& LongPackageName) const = 0;
	/** The file that holds the package, with its extension (.umap or .uasset); false if it cannot exist. */
	virtual bool TryConvertLongPackageNameToFilename(const std::string& LongPackageName, std::string& OutFilename) const = 0;
};

namespace Tarnwick::Host
{
/** Installs the object system (not owned; null uninstalls). */
void SetObjectSystem(IObjectSystem* System);
IObjectSystem* GetObjectSystem();
}

/** Pure rules about package names, the engine's FPackageName. */
struct FPackageName
{
	/**
	 * Whether Name is a valid long package name: starts with '/', has a mount point and an asset name
	 * ("/Game/Foo"), no empty path element, no trailing '/', none of the characters \ : * ? " < > | ' , . or space.
	 */
	static bool IsValidLongPackageName(const std::string& Name, std::string* OutReason = nullptr);
	/** "/Game/Maps/Arena" -> "Arena". */
	static std::string GetShortName(const std::string& LongPackageName);
	/** "/Game/Maps/Arena.Arena" -> "/Game/Maps/Arena"; a path without '.' is returned unchanged. */
	static std::string ObjectPathToPackageName(const std::string& ObjectPath);
	/** "/Game/Maps/Arena.Arena:PersistentLevel" -> "Arena"; the part after the package, before any ':' or '.'. */
	static std::string ObjectPathToObjectName(const std::string& ObjectPath);
	/** Installed through the host's object system. */
	static bool DoesPackageExist(const std::string& LongPackageName);
	static bool TryConvertLongPackageNameToFilename(const std::string& LongPackageName, std::string& OutFilename);
	/**
	 * A package folder ("/Game/Captures/Run1/") to its directory on disk ("<project>/Content/Captures/Run1/"), as the
	 * engine converts a long package name with a trailing '/'. False when no content root on disk is mounted at its
	 * prefix (only /Game/ is, the project's Content folder) or an element is empty, "." or "..".
	 */
	static bool TryConvertLongPackageFolderToDirectory(const std::string& PackageFolder, std::string& OutDirectory);
};
