# The two set-up commands: `make run` and `make test`. Everything else is a helper for them.
PRESET ?= release
BUILD_DIR = build/$(PRESET)
HTTP ?= 127.0.0.1:8765
PROJECT ?= Samples/Arena
JOBS ?= $(shell nproc)

.PHONY: run test build bootstrap bench clean

bootstrap:
	@scripts/bootstrap

build: bootstrap
	@cmake --preset $(PRESET) >/dev/null
	@cmake --build --preset $(PRESET) -j $(JOBS)

run: build
	@scripts/print-client-config $(HTTP)
	@$(BUILD_DIR)/Programs/tarnwick/tarnwick serve --project $(PROJECT) --http $(HTTP)

test: build
	@ctest --preset $(PRESET) -j $(JOBS)

bench: build
	@scripts/bench-all

clean:
	rm -rf build
