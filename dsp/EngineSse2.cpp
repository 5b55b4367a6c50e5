// The wavefront kernel for 4-float vectors.
#define GRAPHICEQ_WIDTH 4
#define GRAPHICEQ_KERNEL_NAME RunSse2
#include "EngineWavefront.inc"
