// The precise wavefront kernel for 2-double vectors.
#define GRAPHICEQ_WIDTH 2
#define GRAPHICEQ_KERNEL_NAME RunPreciseSse2
#include "EngineWavefront.inc"
