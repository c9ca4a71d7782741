#include "plugin/oridan_plugin.h"

OridanArtifactRemovalPlugin::~OridanArtifactRemovalPlugin() = default;

bool OridanArtifactRemovalPlugin::initPlugin() {
    return true;
}

bool OridanArtifactRemovalPlugin::isAvailable() const {
    return true;
}

bool OridanArtifactRemovalPlugin::checkPluginAvailability() const {
    return true;
}

bool checkVersionGreaterEqualVersion(int major, int minor, int patch, int reqMajor, int reqMinor, int reqPatch) {
    if (major != reqMajor) {
        return major > reqMajor;
    }
    if (minor != reqMinor) {
        return minor > reqMinor;
    }
    return patch >= reqPatch;
}
