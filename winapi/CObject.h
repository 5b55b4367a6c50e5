#pragma once
// Root of the layer's class tree. Only the virtual destructor is needed: the
// subset in use never asks an object for its run-time class.
class CObject {
public:
    virtual ~CObject() = default;

protected:
    CObject() = default;
};
