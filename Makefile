# Front door: `make demo` and `make test` work on a fresh machine.
SANITIZE ?=
JOBS ?= $(shell nproc)
# A CTest name filter (regular expression); empty runs every test.
TESTS ?=

ifeq ($(SANITIZE),)
BUILD_DIR ?= build
SAN_FLAGS :=
else
BUILD_DIR ?= build-$(subst $(comma),-,$(SANITIZE))
SAN_FLAGS := -DVIDEODEVICE_SANITIZE=$(SANITIZE)
endif
comma := ,

.PHONY: all deps configure build test demo install clean

all: build

deps:
	@./scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(SAN_FLAGS) > /dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && TSAN_OPTIONS="suppressions=$(CURDIR)/tests/tsan.supp $(TSAN_OPTIONS)" \
		ctest --output-on-failure -j $(JOBS) $(if $(TESTS),-R '$(TESTS)')

demo: build
	@$(BUILD_DIR)/tools/videodevice demo --out out/demo
	@echo "Demo pictures are in out/demo/"

install: build
	@cmake --install $(BUILD_DIR) --prefix $(or $(PREFIX),install)

clean:
	@rm -rf build build-*
