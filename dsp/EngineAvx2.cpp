// The precise wavefront kernel for 4-double vectors, with fused multiply-add.
#define GRAPHICEQ_WIDTH 4
#define GRAPHICEQ_KERNEL_NAME RunPreciseAvx2
#include "EngineWavefront.inc"
