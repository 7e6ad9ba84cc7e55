# Everyday entry points. `make demo` sets everything up and runs the lab demo; `make test` runs the tests.
PRESET ?= default
BUILD_DIR = build/$(PRESET)
HALVORA = build/default/tools/halvora/halvora

.PHONY: setup configure build test demo test-asan test-tsan install clean

setup:
	./scripts/install-deps.sh

configure: setup
	cmake --preset $(PRESET)

build: configure
	cmake --build --preset $(PRESET)

test: build
	ctest --preset $(PRESET)

demo:
	$(MAKE) build PRESET=default
	$(HALVORA) demo

test-asan:
	$(MAKE) test PRESET=asan

test-tsan:
	$(MAKE) test PRESET=tsan

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf build
