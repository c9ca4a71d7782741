#pragma once

#include "export.h"

class NivoraPluginInterface;

/// The seven functions that the workbench looks up by these plain names. Texts are constant, NUL-terminated and
/// owned by the module. [user-interface thread]
extern "C" {
ORIDAN_API const char* getPluginName();
ORIDAN_API const char* getPluginDescription();
ORIDAN_API const char* getAuthor();
ORIDAN_API const char* getHelpFile(); ///< empty: no help file
ORIDAN_API const char* getPluginVersion();
ORIDAN_API const char* getGUIScript(); ///< empty: no interface script

/// @return a new plug-in object; the caller owns it and deletes it through its virtual destructor.
ORIDAN_API NivoraPluginInterface* createPlugin();
}
