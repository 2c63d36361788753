import os

run.start()
run.wait_for_log("notice cmd_lanfab is locked, waiting")
os.remove("/var/run/LANFAB_LOCKED")
run.finish()
