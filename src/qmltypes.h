#pragma once

/**
 * Registers what a scene may import or name: the models, and the enumerations of the objects
 * that it is given.
 * @param uri the module's name; its version is 1.0.
 */
void registerQmlTypes(const char *uri);
