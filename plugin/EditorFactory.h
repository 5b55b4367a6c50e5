#pragma once
// Creates the effect's editor object. Exactly one definition is linked into
// the plug-in: the panel-less one in NoEditor.cpp (plugin_noeditor) until the
// editor library provides its own. An editor that has a view to offer
// registers itself with AudioEffect::setEditor in its constructor, which
// announces effFlagsHasEditor to the host; one that does not, stays silent.
class AEffEditor;
class AGraEQ;

AEffEditor* CreateGraphicEQEditor(AGraEQ* effect);
