// The wavefront kernel for 8-float vectors.
#define GRAPHICEQ_WIDTH 8
#define GRAPHICEQ_KERNEL_NAME RunAvx2
#include "EngineWavefront.inc"
