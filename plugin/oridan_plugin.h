#pragma once

#include "export.h"
#include "plugin/nivora_plugin_interface.h"

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

    bool isAvailable() const;
    bool checkPluginAvailability() const;
};

/// Compares version triples lexicographically: true when (major, minor, patch) is at least the required one.
ORIDAN_API bool checkVersionGreaterEqualVersion(int major, int minor, int patch, int reqMajor, int reqMinor,
                                                int reqPatch);
