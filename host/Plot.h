#pragma once
// Draws measured magnitude responses into a PNG (Cairo): logarithmic
// frequency axis, dB grid, one curve per output channel, band markers.
#include <string>
#include <vector>

namespace ghost {

struct Curve {
    std::string label;
    std::vector<double> freq;  // Hz, ascending
    std::vector<double> db;
};

struct Marker {
    double freq;
    double db;
    std::string label;
};

// Throws HostError when the file cannot be written. The dB axis spans at
// least +-15 dB and widens to fit the curves, down to floorDB at most.
void PlotResponse(const std::string& path, const std::string& title, const std::vector<Curve>& curves,
                  const std::vector<Marker>& markers, double maxFreq, double floorDB = -120.0);

}  // namespace ghost
