# SPDX-License-Identifier: GPL-2.0-only
# The kernel module. `make modules [KDIR=kernel build folder] [BUILD=folder for objects]`; ARCH and CROSS_COMPILE as for any kernel
# module. The user-space programs are CMake's (see README.md); `make install [PREFIX=/usr/local] [DESTDIR=]` builds and installs them.
KDIR ?= /lib/modules/$(shell uname -r)/build
BUILD ?= build/module
PREFIX ?= /usr/local
parts := $(wildcard Kbuild capture config decode include output platform text examples tests/kernel/module tests/kernel/appliance)
build := $(abspath $(BUILD))

# One tree of sources serves many kernels: each has its objects beside links to them.
modules: links
	$(MAKE) -C $(KDIR) M=$(build) modules
	$(MAKE) -C $(KDIR) M=$(build)/examples/datapath KBUILD_EXTRA_SYMBOLS=$(build)/Module.symvers modules

modules_install: modules
	$(MAKE) -C $(KDIR) M=$(build) modules_install
	$(MAKE) -C $(KDIR) M=$(build)/examples/datapath modules_install

links:
	@mkdir -p $(build)
	@find $(build) -xtype l -delete
	@cd $(CURDIR) && find -L $(parts) -type f | while read -r file; do \
		mkdir -p "$(build)/$$(dirname "$$file")" && ln -sf "$(CURDIR)/$$file" "$(build)/$$file"; \
	done

# What is installed is noted for "make uninstall".
install:
	$(CURDIR)/scripts/setup install
	cmake --preset default -S $(CURDIR)
	cmake --build $(CURDIR)/build --target debug-pkt debug_pkt man
	cmake --install $(CURDIR)/build --prefix $(PREFIX)

uninstall:
	cd $(CURDIR)/build && while read -r file || [ -n "$$file" ]; do rm -f "$(DESTDIR)$$file"; done <install_manifest.txt

clean:
	rm -rf $(build)

.PHONY: modules modules_install links install uninstall clean
