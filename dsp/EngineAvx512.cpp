// The precise wavefront kernel for 8-double vectors, with fused multiply-add.
#define GRAPHICEQ_WIDTH 8
#define GRAPHICEQ_KERNEL_NAME RunPreciseAvx512
#include "EngineWavefront.inc"
