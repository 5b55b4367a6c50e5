// The editor object of a build without a panel: the effect owns it and
// calls its panel hooks, which do nothing. It does not register itself with
// setEditor, so the host is told there is no editor and never asks to open
// one.
#include "AEffEditor.h"
#include "AGraEQ.h"
#include "EditorFactory.h"

#include <new>

namespace {
class CNoPanelEditor final : public AEffEditor {
public:
    explicit CNoPanelEditor(AudioEffect* effectObject) : AEffEditor(effectObject) {}
};
}  // namespace

AEffEditor* CreateGraphicEQEditor(AGraEQ* effect)
{
    return new (std::nothrow) CNoPanelEditor(effect);
}
