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

// Throws HostError when the file cannot be written.
void PlotResponse(const std::string& path, const std::string& title, const std::vector<Curve>& curves,
                  const std::vector<Marker>& markers, double maxFreq);

}  // namespace ghost
