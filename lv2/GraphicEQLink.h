#pragma once
// What the LV2 UI binary reaches through the host's instance-access feature:
// the plug-in instance's handle is a GraphicEQLink. The UI uses only these
// virtual operations, so it links none of the effect's code.
class AEffEditor;

// Hears what the effect tells its host from the panel: the UI turns both
// into port writes, so the host's controls follow the panel.
class GraphicEQLinkListener {
public:
    // The panel set a parameter (normalised value).
    virtual void ParameterAutomated(int index, float normalised) = 0;
    // The panel replaced the current program (program switch, copy, revert,
    // reset, save): every parameter may have changed.
    virtual void ProgramChanged() = 0;

protected:
    ~GraphicEQLinkListener() = default;
};

class GraphicEQLink {
public:
    // The effect's editor object (the panel); never null.
    virtual AEffEditor* Editor() = 0;
    // A parameter's current value in its control port's unit.
    virtual float PortValue(int index) = 0;
    // Installs (or, with null, removes) the listener. Called on the UI
    // thread; the effect calls the listener from the panel, on that thread.
    virtual void SetListener(GraphicEQLinkListener* listener) = 0;

protected:
    ~GraphicEQLink() = default;
};
