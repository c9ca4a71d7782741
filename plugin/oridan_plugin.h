#pragma once

#include "export.h"
#include "plugin/nivora_plugin_interface.h"

/// @file
/// The plug-in object, and the comparison of version triples. Other programs reach the object through createPlugin and
/// its base class.

/// Removes recurring artifacts from EEG/MEG recordings with the optimal basis set method. Holds no data: nothing
/// of a run survives it.
class OridanArtifactRemovalPlugin : public NivoraPluginInterface {
public:
    ~OridanArtifactRemovalPlugin() override;

    /// Asks for recording, protocol and settings through the workbench's dialogs, cleans a copy of the recording.
    /// @return as each way to end a run states; see obs/obs_run.cpp.
    bool execute() override;

    /// @return true, always. The workbench's functions are bound by execute, on every run.
    bool initPlugin() override;

    /// Whether the plug-in can be offered.
    /// @return true, always.
    bool isAvailable() const;

    /// Whether the plug-in can be used.
    /// @return true, always.
    bool checkPluginAvailability() const;
};

/// Compares version triples lexicographically.
/// @param major, minor, patch           a version.
/// @param reqMajor, reqMinor, reqPatch  the required one.
/// @return true when the version is at least the required one.
ORIDAN_API bool checkVersionGreaterEqualVersion(int major, int minor, int patch, int reqMajor, int reqMinor,
                                                int reqPatch);
