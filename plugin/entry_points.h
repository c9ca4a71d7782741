#pragma once

#include "export.h"

class NivoraPluginInterface;

/// @file
/// The seven functions that the workbench looks up by these plain names. Texts are constant, NUL-terminated and owned
/// by the module. [user-interface thread]

extern "C" {
/// One line for the list of plug-ins.
/// @return text.
ORIDAN_API const char* getPluginName();
/// Where help is found, as HTML.
/// @return text.
ORIDAN_API const char* getPluginDescription();
/// The author's name, as HTML.
/// @return text.
ORIDAN_API const char* getAuthor();
/// The plug-in's help file.
/// @return an empty text: there is none.
ORIDAN_API const char* getHelpFile();
/// The version that the plug-in states to the workbench.
/// @return text.
ORIDAN_API const char* getPluginVersion();
/// The plug-in's interface script.
/// @return an empty text: there is none.
ORIDAN_API const char* getGUIScript();

/// Makes the plug-in.
/// @return a new plug-in object, which the caller owns and deletes through its virtual destructor; null where there is
///         no memory for it.
ORIDAN_API NivoraPluginInterface* createPlugin();
}
