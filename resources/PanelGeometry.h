#pragma once
// Where the panel puts its controls and where a fader draws its thumb for a
// value. The art program draws scale marks from these, so a mark sits exactly
// on the thumb's centre line at the value it names; the tests check the
// images against the same numbers.
#include <cmath>

namespace panel_art {

// Panel background.
constexpr int kPanelWidth = 712;
constexpr int kPanelHeight = 316;

// Band faders (gain and Q share the track and thumb images).
constexpr int kBandX0 = 97;         // left edge of band 0's fader
constexpr int kBandPitch = 36;      // band b sits at kBandX0 + b * kBandPitch
constexpr int kGainTop = 56;        // gain fader rectangle (x, 56, x + 16, 151)
constexpr int kQTop = 189;          // Q fader rectangle (x, 189, x + 16, 284)
constexpr int kGainReadoutTop = 154;
constexpr int kQReadoutTop = 287;
constexpr int kTrackWidth = 16;
constexpr int kBandTrackHeight = 95;
constexpr int kBandThumbWidth = 14;
constexpr int kBandThumbHeight = 13;

// Input and output faders (logarithmic travel).
constexpr int kLevelTop = 56;
constexpr int kInputX = 48;
constexpr int kOutputX = 650;
constexpr int kLevelTrackHeight = 223;
constexpr int kLevelThumbWidth = 14;
constexpr int kLevelThumbHeight = 15;

// The level faders' own scales, on the inner side of each fader: ticks of
// kLevelTickLength pixels from the track's edge at these levels (dB, 6 dB per
// doubling of the amplitude), labels after them at most kLevelLabelWidth wide.
constexpr int kInputMarks[] = {0, -6, -12, -18, -24, -36};
constexpr int kOutputMarks[] = {6, 0, -6, -12, -18, -24, -36};
constexpr int kLevelTickLength = 3;
constexpr double kLevelLabelWidth = 9.5;
// The band scales' labels beside the first and last band are at most this
// wide, and the band names under the gain read-outs at most kBandNameWidth.
constexpr double kBandLabelWidth = 10.5;
constexpr double kBandNameWidth = 28.0;

// Meters: an unlit and a lit half side by side; the panel lights rows
// y .. bottom with y = trunc(19 - 3 * dB), so +6 dB is row 1, 0 dB row 19 and
// the floor (-69 dB) row 226.
constexpr int kMeterHalfWidth = 7;
constexpr int kMeterHeight = 227;
constexpr int kMeterTop = 56;
constexpr int kMeterX[4] = {29, 38, 669, 678};
inline int MeterRow(double dB) { return (int)(dB * -3.0 + 19.0); }

// Two-state images and the small buttons.
constexpr int kSwitchWidth = 29, kSwitchHeight = 20;   // active switch (23, 8)-(52, 28)
constexpr int kCopyWidth = 29, kCopyHeight = 17;       // copy button (64, 11)-(93, 28)
constexpr int kTagWidth = 43, kTagHeight = 16;         // save button and modified indicator

// The program display under the "PROGRAM" caption (left, top, right,
// bottom): the panel prints the current program's number and name in it,
// and a click there opens the list of programs.
constexpr int kProgramLeft = 99, kProgramTop = 17, kProgramRight = 211, kProgramBottom = 33;

inline int BandX(int band) { return kBandX0 + kBandPitch * band; }

// Travel points of a fader: the thumb centre at the minimum (y = a) and at the
// maximum (y = b), relative to the fader's top.
inline int TravelMin(int trackHeight, int thumbHeight) { return trackHeight - thumbHeight / 2; }
inline int TravelMax(int thumbHeight) { return thumbHeight / 2; }

// Top row of the thumb of a linear fader at normalised value n.
inline int LinearThumbTop(double n, int trackHeight, int thumbHeight)
{
    const double a = TravelMin(trackHeight, thumbHeight), b = TravelMax(thumbHeight);
    return (int)std::trunc(a - n * (a - b) - 0.5 * thumbHeight);
}

// Top row of the thumb of a logarithmic fader at normalised value n.
inline int LogThumbTop(double n, int trackHeight, int thumbHeight)
{
    const double a = TravelMin(trackHeight, thumbHeight), b = TravelMax(thumbHeight);
    return (int)std::trunc(a + (b - a) * std::log10(n * 9.0 + 1.0) + 0.5) - thumbHeight / 2;
}

// The row of the thumb's centre line (the thumbs are an odd number of rows high).
inline int LinearThumbCentre(double n, int trackHeight, int thumbHeight)
{
    return LinearThumbTop(n, trackHeight, thumbHeight) + thumbHeight / 2;
}
inline int LogThumbCentre(double n, int trackHeight, int thumbHeight)
{
    return LogThumbTop(n, trackHeight, thumbHeight) + thumbHeight / 2;
}

}  // namespace panel_art
