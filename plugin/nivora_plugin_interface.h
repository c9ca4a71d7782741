#pragma once

/// What the workbench knows of a plug-in: one virtual table, slots in this order (the destructor takes two).
/// Shared by the module and every program that loads it.
class NivoraPluginInterface {
public:
    virtual ~NivoraPluginInterface() {}

    /// The whole interactive run. [user-interface thread]
    virtual bool execute() = 0;

    /// Called once after createPlugin. [user-interface thread]
    virtual bool initPlugin() = 0;
};
