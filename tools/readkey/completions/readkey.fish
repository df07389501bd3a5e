# fish completion for readkey
complete -c readkey -l summary -d 'Totals by vehicle and driver'
complete -c readkey -l json -d 'JSON Lines, one object for each file'
complete -c readkey -l csv -d 'CSV of insertions'
for kind in insertions gaps vehicles drivers cards files
    complete -c readkey -l csv=$kind -d "CSV of $kind"
end
complete -c readkey -l html -r -d 'One self-contained page'
complete -c readkey -l events -d 'The signals of the library as JSON Lines'
complete -c readkey -l vehicle -x -d 'Only vehicles with these words in the plate'
complete -c readkey -l driver -x -d 'Only drivers with these words in name or card number'
complete -c readkey -l from -x -d 'Only what ends on or after this day (2024-03-15)'
complete -c readkey -l to -x -d 'Only what begins on or before this day (2024-03-15)'
complete -c readkey -l as-of -x -d 'Ages count to this day (2024-03-15)'
complete -c readkey -l utc -d 'Times in UTC'
complete -c readkey -l copy-to -x -a '(__fish_complete_directories)' -d 'Copy every download file'
complete -c readkey -l downloaded-dir -d 'Make the directory "downloaded"'
complete -c readkey -l remount -d 'Remount the key read-only'
complete -c readkey -l verbose -d 'Debug lines'
complete -c readkey -s h -l help -d 'Help'
complete -c readkey -s v -l version -d 'Version'
