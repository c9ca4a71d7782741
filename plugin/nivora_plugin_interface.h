#pragma once

/// @file
/// The interface between the workbench and its plug-ins.

/// What the workbench knows of a plug-in: one virtual table, slots in this order (the destructor takes two).
/// Shared by the module and every program that loads it.
class NivoraPluginInterface {
public:
    /// Through this the workbench deletes the object.
    virtual ~NivoraPluginInterface() {}

    /// The whole interactive run. [user-interface thread]
    /// @return false when it could not start, in the plug-in's own terms.
    virtual bool execute() = 0;

    /// Called once after createPlugin. [user-interface thread]
    /// @return true when the plug-in can be used.
    virtual bool initPlugin() = 0;
};
