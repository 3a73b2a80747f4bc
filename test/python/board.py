"""Builds a board, runs a program on it, and looks at what became of it."""

import os
import sys
import tempfile

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


def expect(error, function, *arguments, **options):
    """The function fails in that way."""
    try:
        function(*arguments, **options)
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
    expect(orvy.Error, orvy.connect, uart, "irqCtrl", space, "MemAccessIface")
    expect(orvy.Error, orvy.create, "Ram", "bad", siz=4096)
    expect(orvy.Error, orvy.create, "Ram", "bad", size="4 parsecs")
    expect(orvy.Error, orvy.load_plugin, "NoPlugin")
    expect(orvy.Error, orvy.exec, "memory-read obj=memory addr=0")
    expect(TypeError, orvy.set, cpu, "memorySpace", 1)
    expect(orvy.Error, orvy.set_time_source, uart, space)
    expect(orvy.Error, orvy.set_time_source, uart, None)
    expect(orvy.Error, orvy.load_image, uart, image)
    expect(orvy.Error, orvy.map, space, -1, 16, uart)
    expect(orvy.Error, orvy.add_command, "memory-read", print)
    for seconds in (-5, float("nan"), 1e300):
        expect(orvy.Error, orvy.run, seconds)
    restore(cpu)
    run_by_parts(cpu)


def restore(cpu):
    """Objects stand for what has their name after a checkpoint was restored."""
    with tempfile.TemporaryDirectory() as folder:
        kept = os.path.join(folder, "kept.json")
        orvy.exec(f"checkpoint-save {kept}")
        rams = [orvy.create("Ram", f"late{index}", size=4096) for index in range(50)]
        orvy.exec(f"checkpoint-restore {kept}")
    print("restored", orvy.get(cpu, "freq"), cpu == orvy.find("cpu0"), any(ram.exists for ram in rams))
    expect(orvy.Error, orvy.get, rams[0], "size")


def run_by_parts(cpu):
    """Runs of less than a quantum add up."""
    orvy.dispose(cpu)
    expect(orvy.Error, orvy.get, cpu, "freq")
    begin = orvy.time()
    for _ in range(2000):
        orvy.run(0.0005)
    print("ran", round(orvy.time() - begin, 9), orvy.get("sim", "time") - round(begin * 1e9))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "../../../share/orvy/examples/hello.elf")
