"""The parts of `launch`: what there is to boot, the two kernels that can be booted, and the cleaning up."""
