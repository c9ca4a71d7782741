#include "plugin/entry_points.h"

#include <new>

#include "plugin/oridan_plugin.h"

// The text names another plug-in's help; the workbench shows it as it is.
static const char* const PluginDescription = "Please check the <a href=\"OridanPluginHelp/index.html\"><b>EEG/MEG "
                                             "distributed solution plugin online help</b></a><br>";

static const char emptyText[] = ""; // help file and interface script are the very same text

const char* getPluginName() {
    return "EEG/MEG artifact removal with optimal basis set (OBS) approach ...";
}

const char* getPluginDescription() {
    return PluginDescription;
}

const char* getAuthor() {
    return "<i>The Oridan developers</i>";
}

const char* getHelpFile() {
    return emptyText;
}

const char* getPluginVersion() {
    return "0.0";
}

const char* getGUIScript() {
    return emptyText;
}

NivoraPluginInterface* createPlugin() {
    return new (std::nothrow) OridanArtifactRemovalPlugin;
}
