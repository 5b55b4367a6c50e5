#include "ParamMap.h"

#include <cmath>
#include <cstdio>

#include "CGraphicEQ.h"

static_assert(kNumBands == CGraphicEQ::kBandCount, "one parameter pair per engine band");
static_assert(kParamQFirst == kParamGainFirst + kNumBands && kNumParams == kParamQFirst + kNumBands,
              "gains, then Qs, fill the parameter map");

namespace {
constexpr double kLn2 = 0.6931471805599453;

// A row's range, rounded to single precision as every conversion uses it.
inline float Range(const AutomateParamMinMax& row)
{
    return static_cast<float>(row.max - row.min);
}

inline bool IsLevel(int index) { return AutomateParamMinMax_Tbl[index].format == ParamFormat::kLevel; }

// Clamps a level's dB figure: -100 below; at most the dB figure of the row's
// top amplitude (+6 dB for Output, 0 dB for Input).
inline double ClampLevelDB(int index, double dB)
{
    if (dB < -100.0)
        dB = -100.0;
    const double top = LevelToDB(AutomateParamMinMax_Tbl[index].max);
    if (dB > top)
        dB = top;
    return dB;
}

// Stepped parameter: nearest step, at most the table maximum. A negative step
// also ends at the maximum (the comparison is unsigned, as it always was).
float IntegerStep(const AutomateParamMinMax& row, float normalised)
{
    const double range = Range(row);
    const double k = std::floor(static_cast<double>(normalised) / (1.0 / range) + 0.5);
    const uint32_t top = static_cast<uint32_t>(static_cast<int32_t>(row.max));
    if (!(k >= 0.0) || k >= static_cast<double>(top))
        return static_cast<float>(top);
    return static_cast<float>(static_cast<uint32_t>(k));
}

// Steps 3 and 4 shared by the two normalised-to-display conversions.
float ContinuousDisplay(int index, float normalised)
{
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    const float mn = static_cast<float>(row.min);
    const float mx = static_cast<float>(row.max);
    float x = Range(row) * normalised + mn;
    if (x > mx)
        x = mx;
    else if (mn > x)
        x = mn;
    else if (std::isnan(x))
        x = mn;  // garbage in: the bottom of the range, never undefined
    if (IsLevel(index))
        x = static_cast<float>(ClampLevelDB(index, LevelToDB(x)));
    return x;
}
}  // namespace

namespace {
void SetActive(CGraphicEQ& e, int, int32_t on) { e.set_Activate(on != 0); }
void SetOutput(CGraphicEQ& e, int, int32_t v) { e.set_OutputLevel(v); }
void SetInput(CGraphicEQ& e, int, int32_t v) { e.set_InputLevel(v); }
void SetGain(CGraphicEQ& e, int band, int32_t v) { e.set_Gain(band, v); }
void SetQ(CGraphicEQ& e, int band, int32_t v) { e.set_Q(band, v); }
}  // namespace

#define GAIN_ROW(b) {-12.0, 12.0, 0.0, 0, "Gain ", b, "dB", ParamFormat::kBand, SetGain}
#define Q_ROW(b) {1.0, 20.0, 5.0, 0, "Q ", b, "", ParamFormat::kBand, SetQ}
#define BAND_ROWS(ROW) \
    ROW(0), ROW(1), ROW(2), ROW(3), ROW(4), ROW(5), ROW(6), ROW(7), \
    ROW(8), ROW(9), ROW(10), ROW(11), ROW(12), ROW(13), ROW(14)
const AutomateParamMinMax AutomateParamMinMax_Tbl[kNumParams] = {
    {0.0, 1.0, 1.0, 1, "ON/OFF", -1, "", ParamFormat::kSwitch, SetActive},
    {0.001, 2.0, 1.0, 0, "Output", -1, "dB", ParamFormat::kLevel, SetOutput},  // linear amplitude
    {0.001, 1.0, 1.0, 0, "Input", -1, "dB", ParamFormat::kLevel, SetInput},    // linear amplitude
    BAND_ROWS(GAIN_ROW),
    BAND_ROWS(Q_ROW),
};
#undef BAND_ROWS
#undef GAIN_ROW
#undef Q_ROW

const char* const szCenterFreq[kNumBands] = {
    "25Hz",   "39Hz",   "63Hz",   "99Hz",   "158Hz",  "250Hz",  "397Hz",   "630Hz",
    "1.0KHz", "1.6KHz", "2.5KHz", "4.0KHz", "6.3KHz", "10.0KHz", "16.0KHz",
};

double LevelToDB(double amplitude)
{
    return 6.0 * std::log(amplitude) / kLn2;
}

float ValToNormalizeValue(int index, float value)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    const double range = Range(row);
    if (row.integer)
        return static_cast<float>(static_cast<double>(value) * (1.0 / range));
    const float n = static_cast<float>((static_cast<double>(value) - row.min) / range);
    if (n < 0.0f)
        return 0.0f;
    if (n > 1.0f)
        return 1.0f;
    if (std::isnan(n))
        return 0.0f;
    return n;
}

int32_t NormalizeValToDWValue(int index, float normalised)
{
    if (!IsValidParamIndex(index))
        return 0;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    if (row.integer)
        return static_cast<int32_t>(IntegerStep(row, normalised));
    const float x = ContinuousDisplay(index, normalised);
    // Every display value is bounded by its row, so the product fits.
    return static_cast<int32_t>(static_cast<double>(x) * 65536.0);
}

float NormalizeValToInternalVal(int index, float normalised)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    if (row.integer)
        return IntegerStep(row, normalised);
    return ContinuousDisplay(index, normalised);
}

void GetParamMinMax(int index, float* min, float* max)
{
    float mn = 0.0f, mx = 0.0f;
    if (IsValidParamIndex(index)) {
        const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
        mn = static_cast<float>(row.min);
        mx = static_cast<float>(row.max);
        if (IsLevel(index)) {
            mn = static_cast<float>(ClampLevelDB(index, LevelToDB(mn)));
            mx = static_cast<float>(ClampLevelDB(index, LevelToDB(mx)));
        }
    }
    if (min)
        *min = mn;
    if (max)
        *max = mx;
}

void GetParamName(int index, char* text, unsigned size)
{
    if (!text || !size)
        return;
    if (!IsValidParamIndex(index)) {
        text[0] = 0;
        return;
    }
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    std::snprintf(text, size, "%s%s", row.prefix, row.band >= 0 ? szCenterFreq[row.band] : "");
}

float DefaultNormalized(int index)
{
    return IsValidParamIndex(index) ? ValToNormalizeValue(index, static_cast<float>(AutomateParamMinMax_Tbl[index].def))
                                    : 0.0f;
}

float SanitizeNormalized(float value, float fallback)
{
    if (std::isnan(value))
        return fallback;
    if (value < 0.0f)
        return 0.0f;
    if (value > 1.0f)
        return 1.0f;
    return value;
}

float SanitizeStoredValue(int index, float value)
{
    const float def = DefaultNormalized(index);
    return std::isfinite(value) ? SanitizeNormalized(value, def) : def;
}
