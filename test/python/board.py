"""Builds a board, runs a program on it, and looks at what became of it."""

import sys

import orvy

MEGABYTE = 1 << 20


def build():
    for plugin in ("Memory", "SparcV8", "Devices"):
        orvy.load_plugin(plugin)
    cpu = orvy.create("SparcV8", "cpu0", freq=50_000_000)
    ram = orvy.create("Ram", "ram", size=4 * MEGABYTE)
    uart = orvy.create("Uart", "uart")
    irq = orvy.create("IrqCtrl", "irqctrl")
    timer = orvy.create("GpTimer", "timer")
    space = orvy.create("MemorySpace", "memory")
    orvy.map(space, 0x40000000, 4 * MEGABYTE, ram)
    for address, device in ((0x80000100, uart), (0x80000200, irq), (0x80000300, timer)):
        orvy.map(space, address, 0x100, device)
    orvy.connect(cpu, "memorySpace", space, "MemAccessIface")
    orvy.connect(cpu, "irqClient", irq, "IrqClientIface[0]")
    orvy.connect(irq, "cpus[0]", cpu, "IrqIface")
    orvy.connect(uart, "irqCtrl", irq, "IrqCtrlIface")
    orvy.connect(timer, "irqCtrl", irq, "IrqCtrlIface")
    orvy.set_time_source(uart, cpu)
    orvy.set_time_source(timer, cpu)
    return cpu, space, uart


def expect(error, function, *arguments):
    """The function fails in that way."""
    try:
        function(*arguments)
    except error as caught:
        print("refused:", caught)
    else:
        sys.exit(f"{function} did not fail with {arguments}")


def main(image):
    cpu, space, uart = build()
    start = orvy.load_image(space, image)
    print("start", hex(start))
    orvy.reset(cpu, start)
    print("run", orvy.run(1.0).name, orvy.time() < 1.0)
    print("output", repr(orvy.get(uart, "output")))
    print("cpu", orvy.get(cpu, "memorySpace"), orvy.get("cpu0", "freq"), orvy.find("cpu0") == cpu)
    orvy.set(cpu, "globals[3]", 0x123456789)
    print("cut", hex(orvy.get(cpu, "globals[3]")))
    orvy.exec("memory-read obj=memory addr=0x40000000 length=4")

    expect(orvy.Error, orvy.create, "NoClass", "x")
    expect(orvy.Error, orvy.find, "nobody")
    expect(orvy.Error, orvy.get, cpu, "nothing")
    expect(orvy.Error, orvy.get, cpu, "regs[no]")
    expect(orvy.Error, orvy.connect, cpu, "memorySpace", uart, "NoIface")
    expect(orvy.Error, orvy.load_plugin, "NoPlugin")
    expect(orvy.Error, orvy.exec, "memory-read obj=memory addr=0")
    expect(TypeError, orvy.set, cpu, "memorySpace", 1)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "../../../share/orvy/examples/hello.elf")
