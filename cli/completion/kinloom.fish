# SPDX-License-Identifier: MIT
# Completion of kinloom for fish. The program itself knows what may stand where; names of groups come from the service.

function __kinloom_complete
    set -l typed (commandline -opc) (commandline -ct)
    for line in ($typed[1] complete -- $typed[2..-1] 2>/dev/null)
        switch $line
            case '@files'
                __fish_complete_path (commandline -ct)
            case '@folders'
                __fish_complete_directories (commandline -ct)
            case '=*'
                string sub --start 2 -- $line
        end
    end
end

complete --command kinloom --no-files --arguments '(__kinloom_complete)'
