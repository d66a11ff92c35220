# Entry points for people and CI. `make test` is the full gate.
#   make demo    installs what is missing, builds the pxkit tool, runs `pxkit demo`
#   make check   native build + tests (quick iteration)
#   make test    installs what is missing, then native, aarch64 under qemu,
#                ThreadSanitizer, and AddressSanitizer + UndefinedBehaviorSanitizer
#   make bench   release benchmarks on this machine
#   make deb     Debian packages for amd64 and arm64 in build/deb
JOBS ?= $(shell nproc)
CMAKE ?= cmake
CTEST = ctest --output-on-failure -j$(JOBS)
# Installed (and packaged) under /usr, with the library in its multiarch folder.
COMMON = -DCMAKE_BUILD_TYPE=Release -DPXKIT_WERROR=ON -DCMAKE_INSTALL_PREFIX=/usr
# The command-line tool and its tests come with every build but ThreadSanitizer's
# (the library's own tests cover every pooled operation there), the aarch64
# cross build included (it links Debian's arm64 libpng, libtiff and cairo).
TOOLS = -DPXKIT_BUILD_TOOLS=ON

.PHONY: deps demo check test test-native test-aarch64 test-tsan test-asan bench deb clean

deps:
	scripts/install-deps.sh test

demo:
	scripts/install-deps.sh demo
	$(CMAKE) -S . -B build/demo -DCMAKE_BUILD_TYPE=Release $(TOOLS) -DPXKIT_BUILD_TESTS=OFF
	$(CMAKE) --build build/demo -j$(JOBS) --target pxkit_tool
	build/demo/tools/pxkit demo --out demo-out

check test-native:
	$(CMAKE) -S . -B build/native $(COMMON) $(TOOLS)
	$(CMAKE) --build build/native -j$(JOBS)
	cd build/native && $(CTEST)

test-aarch64:
	$(CMAKE) -S . -B build/aarch64 $(COMMON) $(TOOLS) -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake
	$(CMAKE) --build build/aarch64 -j$(JOBS)
	cd build/aarch64 && $(CTEST)

test-tsan:
	$(CMAKE) -S . -B build/tsan $(COMMON) -DPXKIT_SANITIZE=thread
	$(CMAKE) --build build/tsan -j$(JOBS)
	cd build/tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" setarch -R $(CTEST)

test-asan:
	$(CMAKE) -S . -B build/asan $(COMMON) $(TOOLS) -DPXKIT_SANITIZE=address
	$(CMAKE) --build build/asan -j$(JOBS)
	cd build/asan && ASAN_OPTIONS="detect_leaks=1" LSAN_OPTIONS="suppressions=$(CURDIR)/tests/lsan.supp" UBSAN_OPTIONS="print_stacktrace=1" $(CTEST)

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

# libpxkit1, libpxkit-dev and pxkit-tools for amd64 (native) and arm64 (cross).
deb: deps
	$(CMAKE) -S . -B build/deb-amd64 -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr $(TOOLS) -DPXKIT_BUILD_TESTS=OFF
	$(CMAKE) --build build/deb-amd64 -j$(JOBS)
	$(CMAKE) -S . -B build/deb-arm64 -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr $(TOOLS) -DPXKIT_BUILD_TESTS=OFF \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake
	$(CMAKE) --build build/deb-arm64 -j$(JOBS)
	cd build/deb-amd64 && cpack -B $(CURDIR)/build/deb
	cd build/deb-arm64 && cpack -B $(CURDIR)/build/deb
	rm -rf build/deb/_CPack_Packages
	@ls -1 build/deb/*.deb

clean:
	rm -rf build
