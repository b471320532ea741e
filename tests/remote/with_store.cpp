// Runs a program beside a PostgreSQL of its own, which it finds in ORQ_TEST_STORE, with a cache of its
// own:  with_store PROGRAM [ARGUMENTS...]
//
// Ends with the program's status, and with 77 where PostgreSQL is not installed.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "ORQSimModelStore.h"
#include "PostgresServer.h"

int main(int nArguments, char** arguments) {
    if (nArguments < 2) {
        std::cerr << "with_store PROGRAM [ARGUMENTS...]\n";
        return 2;
    }
    const PostgresServer* server = PostgresServer::Get();
    if (server == nullptr) {
        return 77;
    }
    ORQSimModelStore::Prepare(server->Url(""));
    const std::string cache = server->Folder() + "/cache";
    setenv("ORQ_TEST_STORE", server->Url("").c_str(), 1);
    setenv("XDG_CACHE_HOME", cache.c_str(), 1);
    const pid_t process = fork();
    if (process == 0) {
        execv(arguments[1], arguments + 1);
        _exit(127);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
