#pragma once
// Root of the layer's class tree. Window objects, device contexts, graphics
// objects and files all derive from it; it carries only the virtual
// destructor, so objects can be deleted through a base pointer.
class CObject {
public:
    CObject() = default;
    virtual ~CObject() = default;
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;
};
