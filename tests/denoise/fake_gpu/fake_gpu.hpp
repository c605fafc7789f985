#pragma once
// Control of the stand-in OptiX and CUDA driver libraries built for the tests. Both libraries
// share this state (it lives in a library of its own that they and the test program link), record
// every entry point called and can be told to fail any call.

#include <cstddef>
#include <string>
#include <vector>

// Opens every fake entry point: records the call and returns early when it is to fail.
#define FAKE_GPU_ENTER                                \
    if (const int code = fake_gpu::enter(__func__)) { \
        return code;                                  \
    }

namespace fake_gpu {

struct Config {
    unsigned version = 50102;                  // what rtGetVersion answers
    std::size_t totalMemory = std::size_t(6) << 30;  // what cuMemGetInfo_v2 answers
    bool cudaContextCurrent = false;           // whether a CUDA context is current at start
};

// Forgets the calls and the failures and takes a new configuration.
void reset(const Config& config = {});
const Config& config();

// The occurrence-th call of function since the reset returns code instead of doing its work.
void failCall(const std::string& function, int code, int occurrence = 1);

// For the fakes: records the call; returns the code to fail it with, or 0.
int enter(const char* function);
// The text that rtContextGetErrorString gives for code.
std::string errorText(int code);

std::vector<std::string> calls();
// How many calls came from the calling thread, and how many distinct threads made calls.
int callsFromThisThread();
int callingThreads();

// Objects made and not yet destroyed (contexts, buffers, stages, variables, command lists).
void objectMade();
void objectDestroyed();
int liveObjects();

// The CUDA context current in the process (the fakes do not track it per thread).
void* cudaContext();
void setCudaContext(void* context);

// The last value given to a "maxmem" variable, and whether there was one.
void setMaxmem(float value);
bool maxmemSet();
float maxmem();

}  // namespace fake_gpu
