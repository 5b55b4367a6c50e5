// The reference engine's kernel: the single-precision recursion in the plain
// order, each band over the whole block, left and right of a band in one loop.
#include <cmath>
#include <cstring>

#include "EngineKernels.h"

namespace graphiceq {

namespace {

inline float Flush(float y)
{
    uint32_t bits;
    std::memcpy(&bits, &y, sizeof bits);
    return ((bits >> 23) & 0xFFu) < 127u - 20u ? 0.0f : y;
}

// One band of one channel over a block, from src into dst (never the same).
void RunBand(const LaneCoeffs& q, LaneHistory& h, int b, const float* src, float* dst, int count, bool slice)
{
    const float kb2 = q.kb2[b], b1k = q.b1k[b], k = q.k[b], a1 = q.a1[b], a2 = q.a2[b];
    float x1 = h.x1[b], x2 = h.x2[b], y1 = h.y1[b], y2 = h.y2[b];
    int i = 0;
    if (!slice) {
        // A block's first two samples group their feedback terms.
        for (; i < count && i < 2; ++i) {
            const float x = src[i];
            const float y = Flush(kb2 * x2 + (b1k * x1 + x * k) - (a2 * y2 + a1 * y1));
            dst[i] = y;
            x2 = x1; x1 = x; y2 = y1; y1 = y;
        }
    }
    for (; i < count; ++i) {
        const float x = src[i];
        const float y = Flush(kb2 * x2 + (b1k * x1 + x * k) - a1 * y1 - a2 * y2);
        dst[i] = y;
        x2 = x1; x1 = x; y2 = y1; y1 = y;
    }
    h.x1[b] = x1; h.x2[b] = x2; h.y1[b] = y1; h.y2[b] = y2;
}

// Band b of both channels in one loop: two independent recursions overlap in
// the pipeline. Each channel's arithmetic is exactly RunBand's.
void RunBandPair(const KernelArgs& a, int b, const float* srcL, float* dstL, const float* srcR, float* dstR)
{
    const LaneCoeffs& p = *a.coeffs[0];
    const LaneCoeffs& q = *a.coeffs[1];
    LaneHistory& g = *a.history[0];
    LaneHistory& h = *a.history[1];
    const int count = a.count;
    int head = a.slice ? 0 : (count < 2 ? count : 2);
    RunBand(p, g, b, srcL, dstL, head, false);
    RunBand(q, h, b, srcR, dstR, head, false);
    const float lkb2 = p.kb2[b], lb1k = p.b1k[b], lk = p.k[b], la1 = p.a1[b], la2 = p.a2[b];
    const float rkb2 = q.kb2[b], rb1k = q.b1k[b], rk = q.k[b], ra1 = q.a1[b], ra2 = q.a2[b];
    float lx1 = g.x1[b], lx2 = g.x2[b], ly1 = g.y1[b], ly2 = g.y2[b];
    float rx1 = h.x1[b], rx2 = h.x2[b], ry1 = h.y1[b], ry2 = h.y2[b];
    for (int i = head; i < count; ++i) {
        const float xl = srcL[i];
        const float xr = srcR[i];
        const float yl = Flush(lkb2 * lx2 + (lb1k * lx1 + xl * lk) - la1 * ly1 - la2 * ly2);
        const float yr = Flush(rkb2 * rx2 + (rb1k * rx1 + xr * rk) - ra1 * ry1 - ra2 * ry2);
        dstL[i] = yl;
        dstR[i] = yr;
        lx2 = lx1; lx1 = xl; ly2 = ly1; ly1 = yl;
        rx2 = rx1; rx1 = xr; ry2 = ry1; ry1 = yr;
    }
    g.x1[b] = lx1; g.x2[b] = lx2; g.y1[b] = ly1; g.y2[b] = ly2;
    h.x1[b] = rx1; h.x2[b] = rx2; h.y1[b] = ry1; h.y2[b] = ry2;
}

}  // namespace

// A history beyond 2^40 (+240 dBFS) is no signal any more: fed into the
// next block it could overflow fifteen resonant bands into infinities.
// Such a band, and one holding an infinity or a NaN, starts the next call
// from silence: the block that carried the bad input passes it on, the next
// clean block is finite again.
void SanitizeHistory(LaneHistory& h)
{
    constexpr float kLimit = 1099511627776.0f;  // 2^40
    for (int b = 0; b < kLanes; ++b) {
        const bool sane = std::fabs(h.x1[b]) <= kLimit && std::fabs(h.x2[b]) <= kLimit &&
                          std::fabs(h.y1[b]) <= kLimit && std::fabs(h.y2[b]) <= kLimit;
        if (b == kBands || !sane)
            h.x1[b] = h.x2[b] = h.y1[b] = h.y2[b] = 0.0f;
    }
}

void RunReference(const KernelArgs& a)
{
    const int n = a.count;
    if (n <= 0)
        return;
    if (a.channels == 2) {
        float* const l0 = a.work[0];
        float* const r0 = a.work[1];
        float* const l1 = a.work[2];
        float* const r1 = a.work[3];
        for (int i = 0; i < n; ++i) {
            l0[i] = a.in[0][i] * a.gi;
            r0[i] = a.in[1][i] * a.gi;
        }
        for (int b = 0; b < kBands; ++b) {
            if ((b & 1) == 0)
                RunBandPair(a, b, l0, l1, r0, r1);
            else
                RunBandPair(a, b, l1, l0, r1, r0);
        }
        for (int i = 0; i < n; ++i) {
            a.out[0][i] = l1[i] * a.go;
            a.out[1][i] = r1[i] * a.go;
        }
        SanitizeHistory(*a.history[0]);
        SanitizeHistory(*a.history[1]);
        return;
    }
    for (int c = 0; c < a.channels; ++c) {
        float* const bufA = a.work[c];
        float* const bufB = a.work[c + 2];
        for (int i = 0; i < n; ++i)
            bufA[i] = a.in[c][i] * a.gi;
        // Ping-pong A -> B -> A ...; with fifteen bands the result ends in B.
        for (int b = 0; b < kBands; ++b) {
            if ((b & 1) == 0)
                RunBand(*a.coeffs[c], *a.history[c], b, bufA, bufB, n, a.slice);
            else
                RunBand(*a.coeffs[c], *a.history[c], b, bufB, bufA, n, a.slice);
        }
        for (int i = 0; i < n; ++i)
            a.out[c][i] = bufB[i] * a.go;
        SanitizeHistory(*a.history[c]);
    }
}

}  // namespace graphiceq
