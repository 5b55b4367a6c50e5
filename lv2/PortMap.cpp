// Port values in display units, to and from the effect's normalised values,
// with the conversions of the parameter table.
#include "PortMap.h"

#include <cctype>
#include <cmath>
#include <cstring>

namespace lv2port {

void ParamSymbol(int index, char* text, unsigned size)
{
    if (!text || !size)
        return;
    text[0] = '\0';
    if (!IsValidParamIndex(index))
        return;
    char name[64];
    GetParamName(index, name, sizeof name);
    unsigned n = 0;
    bool gap = false;
    for (const char* p = name; *p && n + 1 < size; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (std::isalnum(c)) {
            if (gap && n > 0 && n + 2 < size)
                text[n++] = '_';
            gap = false;
            text[n++] = static_cast<char>(std::tolower(c));
        } else {
            gap = true;
        }
    }
    text[n] = '\0';
}

float PortFromNormalized(int index, float normalised)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    if (AutomateParamMinMax_Tbl[index].format == ParamFormat::kSwitch)
        return normalised >= 1.0f ? 1.0f : 0.0f;
    return NormalizeValToInternalVal(index, normalised);
}

float NormalizedFromPort(int index, float value)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    if (std::isnan(value))
        return value;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    switch (row.format) {
    case ParamFormat::kSwitch:
        return value >= 0.5f ? 1.0f : 0.0f;
    case ParamFormat::kLevel: {
        // The panel's entry field does the same with a typed dB figure.
        float amplitude = static_cast<float>(std::pow(2.0, static_cast<double>(value) / 6.0));
        const float top = static_cast<float>(row.max);
        if (amplitude > top)
            amplitude = top;
        if (!(amplitude >= static_cast<float>(row.min)))
            amplitude = static_cast<float>(row.min);
        return ValToNormalizeValue(index, amplitude);
    }
    case ParamFormat::kBand:
        break;
    }
    return ValToNormalizeValue(index, value);
}

float PortDefault(int index)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    if (row.format == ParamFormat::kLevel)
        return static_cast<float>(LevelToDB(row.def));
    return static_cast<float>(row.def);
}

void PortRange(int index, float* min, float* max)
{
    float lo = 0.0f, hi = 0.0f;
    if (IsValidParamIndex(index))
        GetParamMinMax(index, &lo, &hi);
    if (min)
        *min = lo;
    if (max)
        *max = hi;
}

float MeterDB(float peak)
{
    if (!(peak > 0.0f))
        return kMeterFloorDB;
    // Single precision: four of these run every block (6 dB per doubling,
    // as LevelToDB).
    const float db = 6.0f * std::log2(peak);
    if (!(db > kMeterFloorDB))
        return kMeterFloorDB;
    return db < kMeterTopDB ? db : kMeterTopDB;
}

}  // namespace lv2port
