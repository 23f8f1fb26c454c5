#pragma once
#include <QString>

#include <array>

// Keys a module bundle declares in its Info.plist.
inline constexpr char kPLVBundleDisplayName[] = "PLVBundleDisplayName"; // string: key into its "Localizable" table
inline constexpr char kPLVBundleIcon[] = "PLVBundleIcon";               // string: resource file name with extension
inline constexpr char kPLVMacbookOnly[] = "PLVMacbookOnly";             // integer: non-zero = only with a battery
// Key of a single-module host's own Info.plist: the module it loads.
inline constexpr char kPLVBundlePlugin[] = "PLVBundlePlugin";
// Extension of module bundle directories.
inline constexpr char kPLVModuleBundleExtension[] = "plvbundle3";

// The known module identifiers and the keys of their three-letter short names.
struct PLVModuleIdentifier {
    const char *bundleIdentifier;
    const char *shortNameKey;
};

inline constexpr std::array<PLVModuleIdentifier, 9> kPLVModuleIdentifiers{{
    {"com.tallowcrest.plvCPU", "cpu"},
    {"com.tallowcrest.plvMEM", "mem"},
    {"com.tallowcrest.plvDisk", "dsk"},
    {"com.tallowcrest.plvTEMP", "tmp"},
    {"com.tallowcrest.plvFans", "fan"},
    {"com.tallowcrest.plvNET", "net"},
    {"com.tallowcrest.plvGPU", "gpu"},
    {"com.tallowcrest.plvBATTERY", "bat"},
    {"com.tallowcrest.plvBT", "blt"},
}};

inline constexpr char kPLVUnknownShortNameKey[] = "ukn";

// The short-name key of an identifier, compared exactly (letter case counts);
// "ukn" for any identifier not in the table.
QString PLVShortNameKeyForBundleIdentifier(const QString &bundleIdentifier);
