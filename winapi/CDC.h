#pragma once
#include <vector>
// Device contexts, bitmaps and fonts over Cairo and Pango. All coordinates
// are top-left based with y growing downwards. A bitmap is an immutable
// Cairo image surface (ARGB32, premultiplied); a font is a Pango font
// description at a whole-point size, where one point is one pixel (72 dpi).
#include "CObject.h"
#include "CString.h"
#include "WinTypes.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

class CWnd;

class CGdiObject : public CObject {
public:
    CGdiObject() = default;
    ~CGdiObject() override;
    // Stores a non-null handle and enters it in the handle map; null: FALSE.
    BOOL Attach(HGDIOBJ hObject);
    HGDIOBJ Detach();
    HGDIOBJ GetSafeHandle() const { return m_hObject; }
    operator HGDIOBJ() const { return m_hObject; }
    // The object a handle is attached to, or null.
    static CGdiObject* FromHandle(HGDIOBJ hObject);
    virtual BOOL DeleteObject();

    HGDIOBJ m_hObject = nullptr;
};

class CBitmap : public CGdiObject {
public:
    ~CBitmap() override;
    BOOL DeleteObject() override;  // releases the image; nothing for an empty bitmap
    BOOL LoadBitmap(UINT nIDResource);
    // The low 16 bits of the pointer value are the resource number.
    BOOL LoadBitmap(LPCTSTR lpszResourceName);
    CSize GetSize() const;
    cairo_surface_t* GetImage() const { return static_cast<cairo_surface_t*>(m_hObject); }
};

class CFont : public CGdiObject {
public:
    ~CFont() override;
    BOOL DeleteObject() override;
    // nPointSize is in whole points (12 means 12 points). Missing faces fall
    // back through fontconfig. Ascent is the face's ascent at that size less
    // two pixels; height is the face's bounding-box height at that size.
    BOOL CreatePointFont(int nPointSize, LPCTSTR lpszFaceName, class CDC* pDC = nullptr);

    int m_nPointSize = 0;
    int m_nAscent = 0;
    int m_nHeight = 0;
    CString m_strFaceName;  // as given at creation
};

class CPen : public CGdiObject {};
class CBrush : public CGdiObject {};

class CDC : public CObject {
public:
    CDC();
    ~CDC() override;

    BOOL CreateBitmapDC(int width, int height);
    BOOL CreateDC(LPCTSTR lpszDriverName, LPCTSTR lpszDeviceName, LPCTSTR lpszOutput, const void* lpInitData);
    BOOL CreateCompatibleDC(CDC* pDC);

    // Returns the previous bitmap, or the value 1 when there was none;
    // selecting the value 1 clears the selection.
    CBitmap* SelectObject(CBitmap* pBitmap);
    CFont* SelectObject(CFont* pFont);

    COLORREF SetTextColor(COLORREF c);
    COLORREF GetTextColor() const { return m_crText; }
    COLORREF SetBkColor(COLORREF c);
    COLORREF GetBkColor() const { return m_crBk; }
    int SetBkMode(int mode);

    // Every raster operation draws the source over the destination with its
    // alpha; a memory DC (one with a bitmap selected) draws nothing.
    BOOL BitBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, DWORD dwRop);
    // Draws only into an attached (window) context. The destination y is
    // measured from the bottom of the surface, as the original layer did.
    BOOL StretchBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, int nSrcWidth,
                    int nSrcHeight, DWORD dwRop);
    // y is the top of the text cell: the baseline lies at y + the font's
    // ascent. The whole zero-terminated UTF-8 text is drawn; count and
    // widths are ignored. ETO_OPAQUE fills rect with the background colour.
    // A text pointer below 0x10000 is a string resource number (as for
    // CString), never read as an address.
    BOOL ExtTextOut(int x, int y, UINT nOptions, LPCRECT lpRect, LPCTSTR lpszString, UINT nCount,
                    const int* lpDxWidths);
    BOOL ExtTextOut(int x, int y, UINT nOptions, LPCRECT lpRect, const CString& str, const int* lpDxWidths);
    BOOL TextOut(int x, int y, LPCTSTR lpszString, int nCount);
    BOOL TextOut(int x, int y, const CString& str);
    // Layout size of the first nCount bytes (all of them when nCount < 0).
    CSize GetTextExtent(LPCTSTR lpszString, int nCount) const;
    CSize GetTextExtent(const CString& str) const;
    void FillSolidRect(const RECT& r, COLORREF c);
    void FillSolidRect(int x, int y, int cx, int cy, COLORREF c);

    void InitDrawing();
    void ExitDrawing();

    // The surface an owned context draws into (tests read its pixels).
    cairo_surface_t* GetOwnedSurface() const { return m_pOwnedSurface; }
    // The context drawing goes to: owned first, else attached; may be null.
    // Whoever draws into it directly may draw anywhere: a client context
    // handed out this way puts its whole window on the screen when released.
    cairo_t* GetDrawingContext() const
    {
        m_bDrewAll = true;
        return Context();
    }

    // Fields, in the order the layer keeps them.
    cairo_t* m_pAttached = nullptr;  // a window's context (CPaintDC, CClientDC)
    cairo_t* m_pOwnedContext = nullptr;
    cairo_surface_t* m_pOwnedSurface = nullptr;
    CWnd* m_pWnd = nullptr;
    CRect m_rcClient;
    int m_nWidth = 0;
    int m_nHeight = 0;
    int m_nTextHeight = 0;
    int m_nTextAscent = 0;
    bool m_bClipRegion = false;
    CFont m_defaultFont;
    int m_nOriginX = 0;
    int m_nOriginY = 0;
    COLORREF m_crText = 0;
    COLORREF m_crBk = 0x00FFFFFF;
    int m_nBkMode = OPAQUE;
    CFont* m_pSelectedFont = nullptr;
    HGDIOBJ m_hFont = nullptr;
    CBitmap* m_pSelectedBitmap = nullptr;
    // What a window context drew (window coordinates, a few rectangles); a
    // client context puts only those on the screen when it is released.
    std::vector<CRect> m_drawn;
    mutable bool m_bDrewAll = false;

protected:
    cairo_t* Context() const { return m_pOwnedContext ? m_pOwnedContext : m_pAttached; }
    void NoteDrawn(double x, double y, double w, double h);

private:
    BOOL PaintTextLine(int x, int y, UINT nOptions, LPCRECT lpRect, const char* text);
    CSize MeasureTextLine(const char* text, int nCount) const;
};

class CPaintDC : public CDC {
public:
    explicit CPaintDC(CWnd* pWnd);
    ~CPaintDC() override;
    CRect m_rcUpdate;

private:
    bool m_bDirect = false;  // made outside a paint: drawing goes straight to the window
};

class CClientDC : public CDC {
public:
    explicit CClientDC(CWnd* pWnd);
    ~CClientDC() override;
};

HGDIOBJ GetStockObject(int nIndex);

// Bitmap resources compiled into the library ("<id>.png"). The bundle
// identifier is accepted and not needed: the resources travel with the code.
void* LoadBitmap0(int id, LPCTSTR bundleIdentifier);
void GetBitmapSize0(void* image, int* width, int* height, int* rowBytes);
void* LoadBitmap(UINT id);
