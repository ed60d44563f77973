#pragma once

namespace Store {

/**
 * Registers the records that travel through signals under the full spelling that the
 * signals use, so that they also cross queued connections made by text. Repeating it is
 * harmless.
 */
void registerMetaTypes();

} // namespace Store
