# Completion of OstriaDiagnosticsCLI for fish.
function __ostria_devices
    for device in /dev/sd? /dev/sd?? /dev/nvme*n? /dev/mmcblk? /dev/disk/by-id/*
        test -e $device; and not string match -q '*-part*' $device; and echo $device
    end
end
complete -c OstriaDiagnosticsCLI -f
complete -c OstriaDiagnosticsCLI -l list -d 'Lists the devices'
complete -c OstriaDiagnosticsCLI -l show -d 'Shows everything about devices'
complete -c OstriaDiagnosticsCLI -s M -x -a storage
complete -c OstriaDiagnosticsCLI -l quick -x -a 'smart-status targeted-read random-seek funnel-seek short-self-test drive-self-test default-self-test device-read-test smart-wearout controller-status smart-temperature smart-reliability smart-spare-space'
complete -c OstriaDiagnosticsCLI -l extended -x -a 'random-seek funnel-seek extended-self-test device-write-test linear-read-test full-disk-scan-test conveyance-self-test'
complete -c OstriaDiagnosticsCLI -a '-Q -E' -d 'All tests of a diagnostic'
complete -c OstriaDiagnosticsCLI -l virtual -r -F -d 'Works on a virtual PC'
complete -c OstriaDiagnosticsCLI -l json -d 'Prints one JSON document'
complete -c OstriaDiagnosticsCLI -l progress -x -a json
complete -c OstriaDiagnosticsCLI -l report -r -F -d 'Writes an HTML report'
complete -c OstriaDiagnosticsCLI -l metrics -r -F -d 'Writes the numbers for Prometheus'
complete -c OstriaDiagnosticsCLI -l capture -r -F -d 'Records the drives in a machine file'
complete -c OstriaDiagnosticsCLI -l jobs -x -d 'Tests several drives at the same time'
complete -c OstriaDiagnosticsCLI -l wake -d 'Wakes sleeping drives'
complete -c OstriaDiagnosticsCLI -l config -r -F -d 'Takes the settings from a file'
complete -c OstriaDiagnosticsCLI -l set -x -a 'ENABLE_SMART_HEALTH_TEST= ENABLE_NVME_HEALTH_PREDICTION_TEST= SEC_NUM= SEC_COUNT= INITIAL_SIZE= CENTRAL_SIZE= FINAL_SIZE= WHOLE_DISK_READ='
complete -c OstriaDiagnosticsCLI -l texts -r -F -d 'Takes texts from a file'
complete -c OstriaDiagnosticsCLI -l assume -x -a 'yes no'
complete -c OstriaDiagnosticsCLI -l assume-write -x -d 'Lets tests write to the drive of a serial number'
complete -c OstriaDiagnosticsCLI -l redact -d 'Masks serial numbers'
complete -c OstriaDiagnosticsCLI -l read-only -d 'Writes to no disk'
complete -c OstriaDiagnosticsCLI -s q -d 'Prints only what is not good'
complete -c OstriaDiagnosticsCLI -l note -x -d 'Puts a line into reports'
complete -c OstriaDiagnosticsCLI -l force-mounted -d 'Repairs a disk whose volumes are in use'
complete -c OstriaDiagnosticsCLI -s o -r -F -d 'Writes the bad sectors to a file'
complete -c OstriaDiagnosticsCLI -l record -d 'Keeps the results'
complete -c OstriaDiagnosticsCLI -l history -d 'Shows the results that were kept'
complete -c OstriaDiagnosticsCLI -l test -x -d 'With --history: one test'
complete -c OstriaDiagnosticsCLI -l since -x -d 'With --history: from a date on'
complete -c OstriaDiagnosticsCLI -l compare -d 'Compares two kept runs'
complete -c OstriaDiagnosticsCLI -l help -d 'Explains the program or a test'
complete -c OstriaDiagnosticsCLI -s V -l version
complete -c OstriaDiagnosticsCLI -n 'not __fish_seen_subcommand_from recover smart' -a 'recover smart'
complete -c OstriaDiagnosticsCLI -n '__fish_seen_subcommand_from recover' -a 'scan repair filesystem filterDevices'
complete -c OstriaDiagnosticsCLI -a '(__ostria_devices)'
