#include "app/application.h"

int main() {
    return Application::run();
}
