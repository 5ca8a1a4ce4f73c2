# The two set-up commands: `make run` and `make test`. Everything else is a helper for them.
#
#   make run [HTTP=127.0.0.1:PORT] [PROJECT=dir]   build the server only, then serve PROJECT over HTTP
#   make test                                     build everything, run every test through ctest, then fuzz briefly
PRESET ?= release
BUILD_DIR = build/$(PRESET)
HTTP ?= 127.0.0.1:8765
PROJECT ?= Samples/Arena
JOBS ?= $(shell nproc)
TARNWICK = $(BUILD_DIR)/Programs/tarnwick/tarnwick

.PHONY: run test build build-server bootstrap bootstrap-server configure bench clean

bootstrap:
	@scripts/bootstrap

# Serving needs the Debian packages only; the npm clients are for the tests and benchmarks.
bootstrap-server:
	@scripts/bootstrap --server-only

configure:
	@echo "make: configuring $(BUILD_DIR) (CMake preset $(PRESET))"
	@cmake --preset $(PRESET) >/dev/null

# The executable and the libraries it links, nothing else: no tests, no benchmarks.
build-server: bootstrap-server configure
	@echo "make: building tarnwick and its libraries in $(BUILD_DIR) (a first build takes a few minutes)"
	@cmake --build --preset $(PRESET) --target tarnwick -j $(JOBS)
	@ln -sfn $(TARNWICK) tarnwick

build: bootstrap configure
	@echo "make: building everything in $(BUILD_DIR): libraries, tarnwick, tests and benchmarks"
	@cmake --build --preset $(PRESET) -j $(JOBS)
	@ln -sfn $(TARNWICK) tarnwick

# tarnwick binds the port before it prints the client configuration, and says so when the port is taken.
run: build-server
	@echo "make: starting tarnwick serve on $(HTTP) with the project $(PROJECT)"
	@$(TARNWICK) serve --project $(PROJECT) --http $(HTTP) --print-client-config

# Then each fuzz target briefly (skipped without clang; FUZZ=0 skips it too).
FUZZ ?= 1
test: build
	@ctest --preset $(PRESET) -j $(JOBS)
	@if [ "$(FUZZ)" != 0 ]; then scripts/fuzz; fi

bench: build
	@scripts/bench-all

clean:
	rm -rf build tarnwick
