#pragma once

namespace Store {

// Ids of the texts that a failed request shows to the user, for qtTrId() at the moment of
// use.
constexpr char MessageServerNotAvailable[] = "orvik-store-no-error_server_not_available";
constexpr char MessageContentNotAvailable[] = "orvik-store-no-error_content_not_available";
constexpr char MessageGeneralServerError[] = "orvik-store-no-error_general_server_error";
constexpr char MessageBackplateInvalid[] = "orvik-store-no-error_bkp_invalid";
constexpr char MessageBackplateInUse[] = "orvik-store-no-error_bkp_already_activated";

} // namespace Store
