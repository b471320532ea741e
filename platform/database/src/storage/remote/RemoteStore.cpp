#include "RemoteStore.h"

#ifdef ORQ_WITH_POSTGRESQL
#include "PostgresStore.h"
#endif

namespace orq::storage {

std::unique_ptr<RemoteStore> RemoteStore::Open(const ModelUrl& url) {
#ifdef ORQ_WITH_POSTGRESQL
    return std::make_unique<PostgresStore>(url);
#else
    ORQBasThrowUsage(url.Text() +
                     ": this program was built without libpq, and reads no models in stores");
#endif
}

}  // namespace orq::storage
