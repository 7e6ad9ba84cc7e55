# Everyday entry points. `make demo` sets everything up and runs the lab demo; `make test` runs the tests.
PRESET ?= default
BUILD_DIR = build/$(PRESET)
HALVORA = build/default/tools/halvora/halvora

.PHONY: setup configure build test demo test-asan test-tsan release package docs install clean

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

docs: configure
	cmake --build --preset default --target docs
	@echo "API reference: build/default/docs/html/index.html"

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf build
