// The entry of a libFuzzer program: one target, named by VX_FUZZ_TARGET.

#include "FuzzTarget.h"

extern "C" {
size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t room);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room, unsigned int seed);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunFuzzInput(VX_FUZZ_TARGET, {data, size});
  return 0;
}

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room, unsigned int seed) {
  const InputMutation mutate = VX_FUZZ_TARGET.mutate;
  return mutate != nullptr ? mutate(data, size, room, seed, LLVMFuzzerMutate) : LLVMFuzzerMutate(data, size, room);
}
}
