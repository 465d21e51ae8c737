# Set-up, build, run and test on Debian 12. `make run` and `make test` do
# everything, including installing what is missing.

BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

# Debian packages the build, the tests and `make run` need: the platform
# plugins (X11, framebuffer, VNC, offscreen) and the font the fixed 240 x 320
# layouts are measured against (DejaVu Sans Condensed lives in -extra).
PACKAGES = cmake make g++ qt6-base-dev libgl-dev qt6-qpa-plugins fonts-dejavu-core fonts-dejavu-extra
# Only for `make screenshots`: a virtual X server, pen and keys, captures.
SHOT_PACKAGES = xvfb xauth xdotool imagemagick
SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)
# Where `make run` serves the screen when there is no display.
VNC_PORT ?= 5900

.PHONY: all deps install-packages build run test screenshots clean

all: build

deps:
	@$(MAKE) --no-print-directory install-packages LIST="$(PACKAGES)"

install-packages:
	@missing=""; \
	for p in $(LIST); do \
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

# With a display, the 240 x 320 window; without one, the same screen over
# VNC, reachable from this machine only.
run: build
	@if [ -n "$$DISPLAY" ]; then \
	  QT_QPA_PLATFORM=$${QT_QPA_PLATFORM:-xcb} exec $(BUILD)/vaultix; \
	elif [ -n "$$WAYLAND_DISPLAY" ]; then \
	  exec $(BUILD)/vaultix; \
	else \
	  echo "No display: Vaultix serves its 240x320 screen over VNC on 127.0.0.1:$(VNC_PORT)."; \
	  echo "Connect a VNC viewer on this machine, e.g.:  vncviewer 127.0.0.1::$(VNC_PORT)"; \
	  echo "From another machine, tunnel first:  ssh -L $(VNC_PORT):127.0.0.1:$(VNC_PORT) THIS-HOST"; \
	  echo "Stop it with Ctrl+C."; \
	  LD_PRELOAD=$(abspath $(BUILD))/libvx_loopback.so \
	  QT_QPA_PLATFORM=vnc:size=240x320:port=$(VNC_PORT) exec $(BUILD)/vaultix; \
	fi

# Starts the real program under Xvfb on made-up data files and saves a PNG
# of each screen and dialog in docs/screenshots/.
screenshots: build
	@$(MAKE) --no-print-directory install-packages LIST="$(SHOT_PACKAGES)"
	bash tools/screenshots.sh $(BUILD) docs/screenshots

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD)
