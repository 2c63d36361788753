"""The parts of `launch`: the files to boot, the two kernels, and the cleanup."""
