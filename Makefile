# Entry points for people and CI. `make test` is the full gate.
#   make check   native build + tests (quick iteration)
#   make test    installs what is missing, then native, aarch64 under qemu,
#                ThreadSanitizer, and AddressSanitizer + UndefinedBehaviorSanitizer
#   make bench   release benchmarks on this machine
JOBS ?= $(shell nproc)
CMAKE ?= cmake
CTEST = ctest --output-on-failure -j$(JOBS)
COMMON = -DCMAKE_BUILD_TYPE=Release -DPXKIT_WERROR=ON

.PHONY: deps check test test-native test-aarch64 test-tsan test-asan bench clean

deps:
	scripts/install-deps.sh test

build/native/CMakeCache.txt:
	$(CMAKE) -S . -B build/native $(COMMON)

check test-native: build/native/CMakeCache.txt
	$(CMAKE) --build build/native -j$(JOBS)
	cd build/native && $(CTEST)

test-aarch64:
	$(CMAKE) -S . -B build/aarch64 $(COMMON) -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake
	$(CMAKE) --build build/aarch64 -j$(JOBS)
	cd build/aarch64 && $(CTEST)

test-tsan:
	$(CMAKE) -S . -B build/tsan $(COMMON) -DPXKIT_SANITIZE=thread
	$(CMAKE) --build build/tsan -j$(JOBS)
	cd build/tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" setarch -R $(CTEST)

test-asan:
	$(CMAKE) -S . -B build/asan $(COMMON) -DPXKIT_SANITIZE=address
	$(CMAKE) --build build/asan -j$(JOBS)
	cd build/asan && ASAN_OPTIONS="detect_leaks=1" UBSAN_OPTIONS="print_stacktrace=1" $(CTEST)

test: deps
	$(MAKE) test-native
	$(MAKE) test-aarch64
	$(MAKE) test-tsan
	$(MAKE) test-asan
	@echo "pxkit: native, aarch64 (qemu), TSan and ASan+UBSan suites passed"

bench:
	scripts/install-deps.sh bench
	$(CMAKE) -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DPXKIT_BUILD_BENCH=ON -DPXKIT_BUILD_TESTS=OFF
	$(CMAKE) --build build/bench -j$(JOBS)
	scripts/run-benchmarks.sh build/bench

clean:
	rm -rf build
