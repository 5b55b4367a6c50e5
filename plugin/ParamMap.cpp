#include "ParamMap.h"

#include <cmath>

namespace {
constexpr double kLn2 = 0.6931471805599453;

// A row's range, rounded to single precision as every conversion uses it.
inline float Range(const AutomateParamMinMax& row)
{
    return static_cast<float>(row.max - row.min);
}

inline bool IsLevel(int index) { return index == kParamOutput || index == kParamInput; }

// Clamps a level's dB figure: -100 below; at most +6 dB for Output, 0 dB for Input.
inline double ClampLevelDB(int index, double dB)
{
    if (dB < -100.0)
        dB = -100.0;
    const double top = index == kParamOutput ? 6.0 : 0.0;
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

#define GAIN_ROW {-12.0, 12.0, 0.0, 0}
#define Q_ROW {1.0, 20.0, 5.0, 0}
const AutomateParamMinMax AutomateParamMinMax_Tbl[kNumParams] = {
    {0.0, 1.0, 1.0, 1},      // ON/OFF
    {0.001, 2.0, 1.0, 0},    // Output, linear amplitude
    {0.001, 1.0, 1.0, 0},    // Input, linear amplitude
    GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW,
    GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW,
    GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW, GAIN_ROW,
    Q_ROW, Q_ROW, Q_ROW, Q_ROW, Q_ROW,
    Q_ROW, Q_ROW, Q_ROW, Q_ROW, Q_ROW,
    Q_ROW, Q_ROW, Q_ROW, Q_ROW, Q_ROW,
};
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
