#include "metatypes.h"

#include "application.h"
#include "backplate.h"
#include "category.h"
#include "company.h"
#include "feed.h"
#include "resultpage.h"
#include "review.h"
#include "user.h"

namespace Store {

void registerMetaTypes()
{
    qRegisterMetaType<Application::ConstPtr>("Store::Application::ConstPtr");
    qRegisterMetaType<Backplate::ConstPtr>("Store::Backplate::ConstPtr");
    qRegisterMetaType<Category::ConstPtr>("Store::Category::ConstPtr");
    qRegisterMetaType<Company::ConstPtr>("Store::Company::ConstPtr");
    qRegisterMetaType<Feed::ConstPtr>("Store::Feed::ConstPtr");
    qRegisterMetaType<ResultPage>("Store::ResultPage");
    qRegisterMetaType<Review::ConstPtr>("Store::Review::ConstPtr");
    qRegisterMetaType<User::ConstPtr>("Store::User::ConstPtr");
}

} // namespace Store
