// The wavefront kernel for 16-float vectors.
#define GRAPHICEQ_WIDTH 16
#define GRAPHICEQ_KERNEL_NAME RunAvx512
#include "EngineWavefront.inc"
