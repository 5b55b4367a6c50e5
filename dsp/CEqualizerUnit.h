#pragma once
// One second-order peaking (bell) section for one channel of one band.
//
// The section is the matched z-transform of the analogue peaking prototype
//   H(s) = (s^2 + 2 zz w s + w^2) / (s^2 + 2 zp w s + w^2)
// scaled so that its magnitude at the centre frequency is exactly the
// requested gain. All arithmetic is single precision in a fixed order so the
// output is reproducible bit for bit.
//
// A section takes no lock: it belongs to one thread at a time (the engine
// configures its sections on the thread that processes them).
class CEqualizerUnit {
public:
    CEqualizerUnit();
    virtual ~CEqualizerUnit();
    CEqualizerUnit(const CEqualizerUnit&) = delete;
    CEqualizerUnit& operator=(const CEqualizerUnit&) = delete;

    // samplingPeriod is 1 / sample rate. The history is kept, so a parameter
    // change never clicks.
    void SetParams(float samplingPeriod, float frequency, float q, float gain);
    void CalcCoefficients();

    // Filters count samples from in to out. in and out must not overlap:
    // the recursion reads earlier outputs back from out. Any count >= 0 is
    // accepted; a short block continues the history exactly as a long one.
    // The first two samples of a block take their feedback from the history
    // in a grouping of their own; continueBlock says that this call carries
    // on a block the caller has cut into slices, so the slice is computed
    // exactly as the same samples inside one long call would be.
    void OperateEqualizer(const float* in, float* out, int count, bool continueBlock = false);

    // Read-only views for tests and tools.
    float GetK() const { return m_k; }
    float GetB1() const { return m_b1; }
    float GetB2() const { return m_b2; }
    float GetA1() const { return m_a1; }
    float GetA2() const { return m_a2; }
    float GetSamplingPeriod() const { return m_T; }
    float GetFrequency() const { return m_freq; }
    float GetQ() const { return m_Q; }
    float GetGain() const { return m_gain; }

private:
    struct State;
    void LoadState(State& s) const;
    void StoreState(const State& s);

    float m_T;     // sampling period, seconds
    float m_freq;  // centre frequency, Hz
    float m_Q;
    float m_gain;  // linear gain at the centre frequency
    float m_k;
    float m_b1, m_b2;  // numerator 1 + b1 z^-1 + b2 z^-2
    float m_a1, m_a2;  // denominator 1 + a1 z^-1 + a2 z^-2
    float m_y1, m_y2;  // last and last-but-one output of the previous block
    float m_x1, m_x2;  // last and last-but-one input of the previous block
};
