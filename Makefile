# Everyday entry points. `make demo` sets everything up and runs the lab demo; `make test` runs the tests.
PRESET ?= default
BUILD_DIR = build/$(PRESET)
HALVORA = build/default/tools/halvora/halvora

.PHONY: setup configure build test demo test-asan test-tsan release package docs install clean fuzz-build fuzz fuzz-ci soak

setup:
	./scripts/install-deps.sh

configure: setup
	cmake --preset $(PRESET)

build: configure
	cmake --build --preset $(PRESET)

test: build
	ctest --preset $(PRESET)

# Only the tool: a newcomer sees the demo without waiting for the tests and benchmarks.
demo: setup
	cmake --preset default
	cmake --build --preset default --target halvora
	$(HALVORA) demo

test-asan:
	$(MAKE) test PRESET=asan

# The tests that start threads (label "threads"), under ThreadSanitizer.
test-tsan:
	$(MAKE) test PRESET=tsan

# The library and the tool at -O3, warnings as errors (the way a distribution builds them).
release:
	$(MAKE) build PRESET=release

# A Debian package of the library, headers, CMake and pkg-config files and the tool, in build/release.
package: release
	cd build/release && cpack -G DEB

# The libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer); see fuzz/README.md.
FUZZ_SECONDS ?= 600
fuzz-build: setup
	cmake --preset fuzz
	cmake --build --preset fuzz

# Every target for FUZZ_SECONDS (make fuzz FUZZ_SECONDS=3600 for a long run); CI runs them for 30 s.
fuzz: fuzz-build
	fuzz/run.sh $(FUZZ_SECONDS)

fuzz-ci: fuzz-build
	fuzz/run.sh 30

# The soak programs at full size (CTest runs them at a tenth).
soak: build
	build/default/soak/halvora_soak_hostile --events 1000000
	build/default/soak/halvora_soak_cycles --cycles 1000

docs: configure
	cmake --build --preset default --target docs
	@echo "API reference: build/default/docs/html/index.html"

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf build
