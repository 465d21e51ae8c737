# Set-up, build, run and test on Debian 12. `make run` and `make test` do
# everything, including installing what is missing.

BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

# Debian packages the build and the tests need.
PACKAGES = cmake make g++ qt6-base-dev libgl-dev
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)

.PHONY: all deps build run test clean

all: build

deps:
	@missing=""; \
	for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  $(SUDO) apt-get update && \
	  DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y --no-install-recommends $$missing; \
	fi

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/vaultix-tool --help || true

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD)
